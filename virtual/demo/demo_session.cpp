// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/demo/demo_session.h"

#include "virtual/pen_path.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QPixmap>
#include <QScreen>
#include <QThread>

using namespace virtual_desk;

namespace {

constexpr int replyTimeoutMs = 20000;
constexpr int framesToSettle = 10;
constexpr int reportsPerSecond = 400;

// The signing window on the pad's display, and where in it the signer writes and confirms.
const QRect windowPlace(240, 150, 800, 500);
const QRectF writingArea(320, 220, 640, 300);
const QPointF okButton(905, 615);

// The window of the signature pad's sessions has no frame; its title still names it.
const QString signingTitle = QStringLiteral("HandWriting");

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

bool succeeded(const QJsonObject& reply)
{
    return reply.value(QStringLiteral("success")).toInt() == 1;
}

void pause(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

} // namespace

DemoSession::DemoSession(DemoDesk& desk, const QDir& folder, const QDir& workingDirectory)
    : m_desk(desk)
    , m_folder(folder)
    , m_workingDirectory(workingDirectory)
    , m_log(folder.filePath(QStringLiteral("frames.log")))
{
}

QVector<DemoSession::Result> DemoSession::play()
{
    if (!m_client.open())
        return {{QStringLiteral("Connection"), false, QStringLiteral("refused"), {}}};
    return {readSim(), sign(), readUsbCard(), readHidCard(), takePicture()};
}

void DemoSession::send(const QString& function, const QJsonObject& keys)
{
    QJsonObject request = keys;
    request.insert(QStringLiteral("function"), function);
    const QString frame = QString::fromUtf8(QJsonDocument(request).toJson(QJsonDocument::Compact));
    m_log.sent(frame);
    m_client.send(frame);
}

QJsonObject DemoSession::receive()
{
    const QString frame = m_client.text(replyTimeoutMs);
    m_log.received(frame);
    return QJsonDocument::fromJson(frame.toUtf8()).object();
}

QJsonObject DemoSession::ask(const QString& function, const QJsonObject& keys)
{
    send(function, keys);
    return receive();
}

DemoSession::Result DemoSession::readSim()
{
    const QJsonObject reply = ask(QStringLiteral("ZCSIMCard"));
    const bool read = succeeded(reply);
    if (read)
        receive(); // the success comes twice
    return {QStringLiteral("SIM card"),
            read,
            read ? QStringLiteral("ICCID ") + text(reply, "data") : text(reply, "msg"),
            {}};
}

DemoSession::Result DemoSession::sign()
{
    Result result{QStringLiteral("Signature"), false, {}, {}};
    ask(QStringLiteral("ZCStartDeviceAB"));
    send(QStringLiteral("ZCBeginSignAB"), {{QStringLiteral("x"), windowPlace.x()},
                                           {QStringLiteral("y"), windowPlace.y()},
                                           {QStringLiteral("width"), windowPlace.width()},
                                           {QStringLiteral("height"), windowPlace.height()}});
    const WindowOperator window(signingTitle);
    if (!window.waitForWindows(1)) {
        result.summary = QStringLiteral("the signing window did not open");
        return result;
    }
    const PadGeometry geometry;
    m_desk.pad().play(geometry.signature(writingArea), reportsPerSecond);
    pause(500);
    keepWindow(window, QStringLiteral("signing-window.png"));
    m_desk.pad().play(geometry.tap(okButton), reportsPerSecond);
    const QJsonObject reply = receive();
    ask(QStringLiteral("ZCStopDeviceAB"));
    result.succeeded =
        succeeded(reply) && keep(QStringLiteral("signature.png"), text(reply, "Base64"));
    result.summary = result.succeeded ? QStringLiteral("signed on the pad, confirmed with the pen")
                                      : text(reply, "msg");
    result.files =
        QStringList{QStringLiteral("signature.png"), QStringLiteral("signing-window.png")};
    return result;
}

DemoSession::Result DemoSession::cardResult(const QString& title, const QString& photoName,
                                            const QJsonObject& reply)
{
    const QJsonObject card = reply.value(QStringLiteral("data")).toObject();
    if (card.isEmpty())
        return {title, false, text(reply, "msg"), {}};
    Result result{title, true, {}, {}};
    result.summary = QStringLiteral("%1, %2").arg(text(card, "name"), text(card, "idNum"));
    if (keep(photoName, text(card, "photo")))
        result.files << photoName;
    return result;
}

DemoSession::Result DemoSession::readUsbCard()
{
    ask(QStringLiteral("ZCGetSAMNum"));
    Result result =
        cardResult(QStringLiteral("Identity card, USB reader"), QStringLiteral("photo-usb.bmp"),
                   ask(QStringLiteral("ZCReadIDCard")));
    for (const QString& face : {QStringLiteral("frontNew.jpg"), QStringLiteral("backNew.jpg")}) {
        if (QFile::copy(m_workingDirectory.filePath(face), m_folder.filePath(face)))
            result.files << face;
    }
    return result;
}

DemoSession::Result DemoSession::readHidCard()
{
    return cardResult(QStringLiteral("Identity card, HID reader"), QStringLiteral("photo-hid.bmp"),
                      ask(QStringLiteral("ZCReadHIDIDCard")));
}

DemoSession::Result DemoSession::takePicture()
{
    Result result{QStringLiteral("Document camera"), false, {}, {}};
    const CaptureOperator clerk;
    const int before = m_desk.documentCamera().framesSent();
    send(QStringLiteral("ZCCameraPic"));
    if (!clerk.waitForWindows(1)) {
        result.summary = QStringLiteral("the capture window did not open");
        return result;
    }
    for (int i = 0; i < 100 && m_desk.documentCamera().framesSent() < before + framesToSettle; ++i)
        pause(50);
    clerk.takePicture();
    pause(500);
    keepWindow(clerk, QStringLiteral("capture-window.png"));
    clerk.handOver();
    const QJsonObject reply = receive();
    result.succeeded =
        succeeded(reply) && keep(QStringLiteral("document.jpg"), text(reply, "Base64"));
    result.summary = result.succeeded ? QStringLiteral("taken by the clerk with two clicks")
                                      : QStringLiteral("no picture");
    result.files =
        QStringList{QStringLiteral("document.jpg"), QStringLiteral("capture-window.png")};
    return result;
}

bool DemoSession::keep(const QString& name, const QString& base64) const
{
    QFile file(m_folder.filePath(name));
    return !base64.isEmpty() && file.open(QIODevice::WriteOnly) &&
           file.write(QByteArray::fromBase64(base64.toLatin1())) > 0;
}

void DemoSession::keepWindow(const WindowOperator& window, const QString& name) const
{
    for (const QString& identifier : window.windows())
        QGuiApplication::primaryScreen()
            ->grabWindow(identifier.toULongLong())
            .save(m_folder.filePath(name));
}
