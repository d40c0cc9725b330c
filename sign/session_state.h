// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

class MainWindow;
class QGetHandWrtingDevData;
class QHidWritingDevice;

/// \brief The pad, its reader thread and the open signing window: one of each per process.
class CGlobalObject
{
public:
    CGlobalObject();

    QHidWritingDevice* handWritingDev; ///< a QHandWritingDevForLibUsb; never deleted
    QGetHandWrtingDevData* readThread; ///< never deleted
    MainWindow* signWindow = nullptr;  ///< null when no session is open
};

/// \brief The signing session's parameters and its result. GUI thread only.
///
/// Values come unchecked from clients and stay until a client changes them.
struct struct_GLOBALSSIGNDATA
{
    int x = 440; ///< window position, in pixels from the corner of the pad's display
    int y = 250;
    int width = 400; ///< window size in pixels
    int height = 300;
    int screenX =
        1921; ///< the pad's display in the desktop: right of a main display of 1920 pixels
    int screenY = 0;
    int screenWidth = 1280; ///< pixels over which the pad's x range is spread
    int screenHeight = 800;
    unsigned penColor = 0x000000; ///< 0xRRGGBB
    int reserved1 = 0;
    unsigned backgroundColor = 0xFFFFFF; ///< 0xRRGGBB, of a new canvas
    int reserved2 = 0;
    int penWidth = 5;      ///< pixels at full pressure
    int mode = 0;          ///< stored for clients; the service does not use it
    int transparency = 65; ///< window opacity in percent
    bool cancelDisabled = false;
    bool resignDisabled = false;
    QString titleText = QStringLiteral("手写签字");
    QString cancelText = QStringLiteral("取消");
    QString resignText = QStringLiteral("重签");
    QString okText = QStringLiteral("确定");
    QByteArray imageBase64; ///< PNG of the last signature as Base64 text; empty while there is none
};

/// Created before `main`, never deleted.
extern CGlobalObject* g_globalObj;
extern struct_GLOBALSSIGNDATA g_SignData;

/// Stops the reader thread, closes the pad and attaches its kernel driver again; see
/// `QHandWritingDevForLibUsb::giveBack`. Also called when the application object is destroyed. Any
/// thread but the reader.
void releasePad();
