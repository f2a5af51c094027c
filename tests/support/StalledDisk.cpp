#include "StalledDisk.h"

#include <QByteArray>
#include <QFile>

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

constexpr useconds_t kLookUs = 1000;

std::atomic<const char *> stalledFolder = nullptr;

bool isStalled(int file)
{
    const char *const folder = stalledFolder;
    if (!folder)
        return false;
    std::array<char, 64> link{};
    std::array<char, 4096> path{};
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", file);
    return readlink(link.data(), path.data(), path.size() - 1) > 0
           && std::strncmp(path.data(), folder, std::strlen(folder)) == 0;
}

} // namespace

// Takes the place of the system's, for the libraries as well.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" ssize_t write(int file, const void *bytes, size_t count)
{
    while (isStalled(file))
        usleep(kLookUs);
    return syscall(SYS_write, file, bytes, count);
}

StalledDisk::StalledDisk(const QString &folder)
{
    stalledFolder = strdup(QFile::encodeName(folder).constData()); // kept: a late call may read it
}

StalledDisk::~StalledDisk() { stalledFolder = nullptr; }
