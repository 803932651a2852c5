#include "platform/file_system.h"

bool platform::mayMakeEntries(LPCWSTR) {
    return true;
}

bool platform::roomAt(LPCWSTR directory, FileSystemRoom* room) {
    WCHAR volume[MAX_PATH];
    ULARGE_INTEGER bytes;
    DWORD serial = 0;
    DWORD sectors = 0;
    DWORD sectorBytes = 0;
    DWORD freeClusters = 0;
    DWORD clusters = 0;
    if (GetVolumePathNameW(directory, volume, MAX_PATH) == FALSE ||
        GetVolumeInformationW(volume, nullptr, 0, &serial, nullptr, nullptr, nullptr, 0) == FALSE ||
        GetDiskFreeSpaceW(volume, &sectors, &sectorBytes, &freeClusters, &clusters) == FALSE ||
        GetDiskFreeSpaceExW(directory, &bytes, nullptr, nullptr) == FALSE)
        return false;
    room->fileSystem = serial;
    room->freeBytes = bytes.QuadPart;
    room->blockBytes = sectors > 0 && sectorBytes > 0 ? std::uint64_t{sectors} * sectorBytes : 1;
    return true;
}
