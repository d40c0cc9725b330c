// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The camera command: the operator takes a picture in a window, and the client receives it.

#include "camera/camera_module.h"
#include "server/stored_pictures.h"
#include "server/text_message_processor.h"

#include <QDebug>
#include <QPointer>
#include <QWebSocket>

namespace {

// Each window's event loop runs inside the one before, on the same stack.
constexpr int maxCaptureWindows = 4;

class CountedWindow
{
public:
    CountedWindow() { ++m_count; }
    ~CountedWindow() { --m_count; }
    CountedWindow(const CountedWindow&) = delete;
    CountedWindow& operator=(const CountedWindow&) = delete;

    static bool isOneTooMany() { return m_count > maxCaptureWindows; }
    static bool areAllClosed() { return m_count == 0; }

private:
    static inline int m_count = 0;
};

QString takePicture()
{
    const CountedWindow counted;
    if (CountedWindow::isOneTooMany()) {
        qWarning("no more than %d capture windows at a time", maxCaptureWindows);
        return {};
    }
    const std::unique_ptr<CaptureDialog> window = createCaptureWindow();
    if (!window)
        return {};
    window->exec();
    return window->getBase64();
}

} // namespace

void CTextMessageProcessor::ZCCameraPic(QString functionName, QWebSocket* client,
                                        QString /*request*/)
{
    qWarning("ZCCameraPic");
    qWarning("ZCCameraPic");

    // The client may disconnect while the window is open; its socket is then deleted.
    const QPointer<QWebSocket> asker(client);
    const QString picture = takePicture();
    if (!m_restrictions.keepPictures() && CountedWindow::areAllClosed())
        deleteStoredPictures();
    send(asker, CreateJson(functionName, picture.isEmpty() ? 0 : 1, QString(), QString(), picture));
}
