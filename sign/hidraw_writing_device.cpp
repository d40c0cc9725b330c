// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/hidraw_writing_device.h"

#include "sign/pen_report.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/hidraw.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char deviceFolder[] = "/dev";
// Usage Page (vendor-defined 0xFF02), long form: the first item of the pen interface's descriptor.
constexpr unsigned char penUsagePage[] = {0x06, 0x02, 0xFF};

class FileDescriptor
{
public:
    explicit FileDescriptor(const char* path)
        : m_fd(::open(path, O_RDWR | O_CLOEXEC))
    {
    }
    ~FileDescriptor()
    {
        if (m_fd != -1)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

struct DirectoryCloser
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

int judgeReportDescriptor(int fd)
{
    int size = 0;
    if (::ioctl(fd, HIDIOCGRDESCSIZE, &size) < 0)
        return 0;
    hidraw_report_descriptor descriptor{};
    descriptor.size = static_cast<__u32>(size);
    if (::ioctl(fd, HIDIOCGRDESC, &descriptor) < 0) {
        std::perror("HIDIOCGRDESC");
        return 1;
    }
    if (size <= 2)
        return 0;
    return std::memcmp(descriptor.value, penUsagePage, sizeof(penUsagePage)) == 0 ? 1 : 0;
}

bool isCharacterDevice(const QByteArray& path)
{
    struct stat status = {};
    return ::lstat(path.constData(), &status) == 0 && S_ISCHR(status.st_mode);
}

} // namespace

int isMyHidraw(const char* path)
{
    const FileDescriptor node(path);
    if (node.get() == -1)
        return 0;
    hidraw_devinfo info{};
    if (::ioctl(node.get(), HIDIOCGRAWINFO, &info) < 0)
        return 0;
    const bool isPad = static_cast<std::uint16_t>(info.vendor) == padVendor &&
                       static_cast<std::uint16_t>(info.product) == padProduct;
    return isPad ? judgeReportDescriptor(node.get()) : 1;
}

QLinuxHidRawDev::QLinuxHidRawDev(QObject* parent)
    : QObject(parent)
{
}

QLinuxHidRawDev::~QLinuxHidRawDev()
{
    QLinuxHidRawDev::closeDevice();
}

int QLinuxHidRawDev::findDevice()
{
    const std::unique_ptr<DIR, DirectoryCloser> folder(::opendir(deviceFolder));
    if (!folder)
        return 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        if (!std::strstr(entry->d_name, "hidraw"))
            continue;
        const QByteArray path = QByteArray(deviceFolder) + '/' + entry->d_name;
        if (isCharacterDevice(path) && isMyHidraw(path.constData())) {
            devicePath = path;
            return 1;
        }
    }
    return 0;
}

int QLinuxHidRawDev::openDevice()
{
    closeDevice();
    fd = ::open(devicePath.constData(), O_RDWR | O_CLOEXEC);
    opened = fd != -1;
    return opened ? 1 : -1;
}

int QLinuxHidRawDev::readData(int& x, int& y, int& p)
{
    PenReport report;
    if (!opened || ::read(fd, report.bytes.data(), PenReport::Size) < PenReport::Size)
        return -1;
    x = report.x();
    y = report.y();
    p = report.pressure();
    return 0;
}

int QLinuxHidRawDev::closeDevice()
{
    if (opened)
        ::close(fd);
    opened = false;
    return 1;
}
