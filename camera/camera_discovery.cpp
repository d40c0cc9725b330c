// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Finding the terminal's cameras: which video device carries the USB identifiers of a known model.

#include "camera/capture_window.h"
#include "camera/known_cameras.h"
#include "diagnosis/categories.h"
#include "ui_capture_window.h"

#include <libudev.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t pathSize = 256; // a caller's buffer for a node's path
constexpr std::size_t nodeSize = 128; // the longest path that is made, with its terminating zero

struct UdevRelease
{
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_enumerate* enumerator) const { udev_enumerate_unref(enumerator); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
};
template <typename Object>
using UdevPointer = std::unique_ptr<Object, UdevRelease>;

bool hasProperty(udev_device* device, const char* name, const char* value)
{
    const char* found = udev_device_get_property_value(device, name);
    return found && std::strcmp(found, value) == 0;
}

// Looks for each model in turn and returns its path in the same buffer.
template <std::size_t Count>
int findFirst(CameraUser& window, const KnownCamera (&models)[Count], char* devicePath)
{
    for (KnownCamera model : models)
        if (window.findCameraVideoPath(model.product, model.vendor, devicePath) == 1)
            return 1;
    return 0;
}

// The capture index is the path's last digit alone: /dev/video12 has index 2. The terminal's
// cameras have single-digit nodes.
int captureIndex(const char* devicePath)
{
    return static_cast<int>(std::strtol(devicePath + std::strlen(devicePath) - 1, nullptr, 10));
}

} // namespace

int CameraUser::findCameraVideoPath(char* productId, char* vendorId, char* devicePath)
{
    const UdevPointer<udev> context(udev_new());
    if (!context)
        return 0;
    const UdevPointer<udev_enumerate> enumerator(udev_enumerate_new(context.get()));
    if (!enumerator)
        return 0;
    udev_enumerate_add_match_subsystem(enumerator.get(), "video4linux");
    udev_enumerate_scan_devices(enumerator.get());

    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerator.get()))
    {
        const UdevPointer<udev_device> device(
            udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (!device || !hasProperty(device.get(), "ID_VENDOR_ID", vendorId) ||
            !hasProperty(device.get(), "ID_MODEL_ID", productId)) {
            continue;
        }
        const char* number = udev_device_get_sysnum(device.get());
        char node[nodeSize] = {};
        std::snprintf(node, sizeof(node), "/dev/video%s", number ? number : "");
        std::memcpy(devicePath, node, std::strlen(node) + 1);
        return 1;
    }
    return 0;
}

int CameraUser::initCamera()
{
    char documentPath[pathSize] = {};
    char portraitPath[pathSize] = {};
    const int document = findFirst(*this, documentCameras, documentPath);
    std::printf("t_nFlag1 = %d ,MSG = %s\n", document, documentPath);
    const int portrait = findFirst(*this, portraitCameras, portraitPath);
    std::printf("t_nFlag2 = %d ,MSG = %s\n", portrait, portraitPath);

    if (document == 1) {
        m_documentIndex = captureIndex(documentPath);
        std::printf("t_nFlag1 == 1");
        ui->comboBox_2->addItem(QStringLiteral("文稿摄像头"));
    }
    if (portrait == 1) {
        m_portraitIndex = captureIndex(portraitPath);
        std::printf("t_nFlag1 == 2");
        ui->comboBox_2->addItem(QStringLiteral("人像摄像头"));
    }
    if (document != 1 && portrait != 1)
        qCWarning(cameraLog, "none of the known models is plugged in");
    std::fflush(stdout); // the last line has no newline and the window may stay open for long
    return document == 1 || portrait == 1 ? 0 : -1;
}

int CameraUser::getSignInfo(QString& /*first*/, QString& second)
{
    char documentPath[pathSize] = {};
    char portraitPath[pathSize] = {};
    const int document = findFirst(*this, probedDocumentCameras, documentPath);
    std::printf("t_nFlag1 = %d ,MSG = %s\n", document, documentPath);
    const int portrait = findFirst(*this, probedPortraitCameras, portraitPath);
    std::printf("t_nFlag2 = %d ,MSG = %s\n", portrait, portraitPath);
    second = QString();
    return document == 1 || portrait == 1 ? 0 : -1;
}
