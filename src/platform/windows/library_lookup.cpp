#include "platform/library_lookup.h"

#include <cstring>
#include <string>

#include "platform/file_state.h"

namespace {

bool narrow(LPCWSTR wide, char* out, std::size_t size) {
    return WideCharToMultiByte(CP_ACP, 0, wide, -1, out, static_cast<int>(size), nullptr, nullptr) != 0;
}

// The last point counts, and not in a directory's name.
bool hasExtension(const std::wstring& path) {
    const std::size_t point = path.find_last_of(L'.');
    return point != std::wstring::npos && path.find_first_of(L"\\/", point) == std::wstring::npos;
}

}  // namespace

bool platform::findLibraryFile(LPCWSTR name, char* path, std::size_t size) {
    if (name == nullptr || *name == 0) return false;
    const std::wstring whole(name);
    WCHAR found[MAX_PATH];
    if (whole.find_first_of(L"\\/:") == std::wstring::npos) {
        const DWORD length = SearchPathW(nullptr, name, L".dll", MAX_PATH, found, nullptr);
        return length != 0 && length < MAX_PATH && narrow(found, path, size);
    }
    const std::wstring full = hasExtension(whole) ? whole : whole + L".dll";
    return stateOf(full.c_str()).exists && narrow(full.c_str(), path, size);
}

platform::ImageKind platform::ownImageKind() {
    const auto* image = reinterpret_cast<const char*>(GetModuleHandleW(nullptr));
    IMAGE_DOS_HEADER dos;
    IMAGE_FILE_HEADER head;
    std::memcpy(&dos, image, sizeof dos);
    std::memcpy(&head, image + dos.e_lfanew + sizeof(DWORD), sizeof head);
    return {false, sizeof(void*) * 8, false, head.Machine};
}
