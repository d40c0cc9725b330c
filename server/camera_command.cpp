// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The camera command: the operator takes a picture in a window, and the client receives it.

#include "server/text_message_processor.h"

#include "camera/camera_module.h"

#include <QDebug>
#include <QPointer>
#include <QWebSocket>

void CTextMessageProcessor::ZCCameraPic(QString functionName, QWebSocket* client,
                                        QString /*request*/)
{
    qWarning("ZCCameraPic");
    qWarning("ZCCameraPic");

    // The client may go while the window is open, and its socket with it.
    const QPointer<QWebSocket> asker(client);
    QString picture;
    if (const std::unique_ptr<CaptureDialog> window = createCaptureWindow()) {
        window->exec();
        picture = window->getBase64();
    }
    send(asker, CreateJson(functionName, picture.isEmpty() ? 0 : 1, QString(), QString(), picture));
}
