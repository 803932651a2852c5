#include "platform/durability.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"
#include "platform/posix/written_devices.h"

namespace ovpatch::posix {

namespace {

struct WrittenDevice {
    dev_t device;
    char directory[PATH_MAX];  // one in which a file was written
};

// More file systems than a product lies on; beyond them the whole host is flushed.
constexpr std::size_t MOST_DEVICES = 8;
WrittenDevice devices[MOST_DEVICES];
std::size_t deviceCount = 0;
bool flushesFiles = false;

// The directory of `path` into a buffer of PATH_MAX bytes.
void directoryOf(const char* path, char* out) {
    const char* separator = std::strrchr(path, '/');
    const std::size_t length = separator == nullptr ? 0 : static_cast<std::size_t>(separator - path) + 1;
    std::memcpy(out, path, length);
    if (length == 0) out[0] = '.';
    out[length == 0 ? 1 : length] = '\0';
}

}  // namespace

void noteWritten(dev_t device, const char* path) {
    for (std::size_t i = 0; i < deviceCount && i < MOST_DEVICES; ++i)
        if (devices[i].device == device) return;
    if (deviceCount < MOST_DEVICES) {
        devices[deviceCount].device = device;
        directoryOf(path, devices[deviceCount].directory);
    }
    ++deviceCount;
}

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

namespace platform {

void setFileFlush(bool on) {
    flushesFiles = on;
}

bool fileFlush() {
    return flushesFiles;
}

void flushFileSystems() {
    bool all = deviceCount <= MOST_DEVICES;
    for (std::size_t i = 0; all && i < deviceCount; ++i) {
        const int directory = open(devices[i].directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        all = directory >= 0 && syncfs(directory) == 0;
        if (directory >= 0) close(directory);
    }
    if (!all) sync();
}

void flushNames(LPCWSTR devicePath) {
    HostPath path;
    char directory[PATH_MAX];
    if (!path.assign(devicePath)) return;
    directoryOf(path.cStr(), directory);
    const int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

bool workingDirectory(char* out, std::size_t size) {
    return getcwd(out, size) != nullptr && std::strpbrk(out, "\\*?") == nullptr;
}

}  // namespace platform
