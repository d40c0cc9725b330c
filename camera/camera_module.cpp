// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Loads the module with the capture window when the first picture is asked for.

#include "camera/camera_module.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QLibrary>

namespace {

CaptureWindowFactory loadFactory()
{
    const QString program = QCoreApplication::applicationDirPath();
    QString file = program + QStringLiteral("/libdesk-camera.so");
    if (!QFileInfo::exists(file))
        file = program + QStringLiteral("/../lib/desk-terminal-service/libdesk-camera.so");
    QLibrary module(file);
    module.setLoadHints(QLibrary::PreventUnloadHint);
    QFunctionPointer factory = module.resolve(captureWindowFactoryName);
    if (!factory)
        qWarning("camera module: %s", qUtf8Printable(module.errorString()));
    return reinterpret_cast<CaptureWindowFactory>(factory);
}

} // namespace

std::unique_ptr<CaptureDialog> createCaptureWindow()
{
    // Only a success is stored: the next command finds a module that was installed meanwhile.
    static CaptureWindowFactory factory = nullptr;
    if (!factory)
        factory = loadFactory();
    return std::unique_ptr<CaptureDialog>(factory ? factory() : nullptr);
}
