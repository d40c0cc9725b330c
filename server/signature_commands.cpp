// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The signature commands: the pad's device, the signing session, and its result.

#include "server/text_message_processor.h"
#include "sign/hid_writing_device.h"
#include "sign/pen_reader_thread.h"
#include "sign/session_state.h"
#include "sign/signature_image.h"
#include "sign/signing_window.h"

#include <QDebug>
#include <QPointer>
#include <QWebSocket>

#include <memory>

namespace {

const QString textSigningInProgress = QStringLiteral("签名进行中");
const QString textCancelled = QStringLiteral("用户已取消");
const QString textNotSigned = QStringLiteral("未签名");

// The reply at the end of a session has this name and not that of the command that began it; pages
// rely on it.
const QString sessionReplyName = QStringLiteral("ZCOutputImageBase64AB");

void takePlace(const QString& request)
{
    const auto number = [&request](const char* key) {
        return CTextMessageProcessor::ParseJson(request, QLatin1String(key)).toInt();
    };
    g_SignData.x = number("x");
    g_SignData.y = number("y");
    g_SignData.width = number("width");
    g_SignData.height = number("height");
}

QString sessionMessage(int result)
{
    switch (result) {
    case MainWindow::Signed:
        return {};
    case MainWindow::Cancelled:
        return textCancelled;
    default:
        return QStringLiteral("{%1}").arg(result);
    }
}

} // namespace

bool CTextMessageProcessor::CheckSigning(const QString& functionName, QWebSocket* client) const
{
    if (!g_globalObj->signWindow)
        return false;
    send(client, CreateJson(functionName, 0, textSigningInProgress, QString(), QString()));
    return true;
}

void CTextMessageProcessor::OnZCDeviceExist(QString functionName, QWebSocket* client,
                                            QString /*request*/)
{
    const auto found = static_cast<quint8>(g_globalObj->handWritingDev->findDevice());
    send(client, CreateJson(functionName, found, QString(), QString(), QString()));
}

void CTextMessageProcessor::OnZCStartDeviceAB(QString functionName, QWebSocket* client,
                                              QString /*request*/)
{
    qWarning("启动签字板");
    g_globalObj->readThread->stopReading();
    g_globalObj->handWritingDev->closeDevice();
    const int opened = g_globalObj->handWritingDev->openDevice();
    if (opened == 1)
        g_globalObj->readThread->startReading();
    send(client, CreateJson(functionName, opened, QString(), QString(), QString()));
}

void CTextMessageProcessor::ZCBeginSignAB(QString functionName, QWebSocket* client, QString request)
{
    qWarning("进入签名");
    if (CheckSigning(functionName, client))
        return;
    takePlace(request);
    g_SignData.imageBase64.clear();

    // The page may disconnect during the session; its socket is then deleted.
    const QPointer<QWebSocket> asker(client);
    const auto window = std::make_unique<MainWindow>();
    g_globalObj->signWindow = window.get();
    connect(g_globalObj->readThread, &QGetHandWrtingDevData::getDataOk, window.get(),
            &MainWindow::on_getDataOk);
    connect(this, &CTextMessageProcessor::sEndSign, window.get(), &MainWindow::onsEndSign);
    connect(this, &CTextMessageProcessor::sResSign, window.get(),
            &MainWindow::on_btnResign_clicked);
    window->exec();
    g_globalObj->readThread->disconnect(window.get());
    disconnect(window.get());

    g_SignData.imageBase64 = window->imageBase64;
    if (window->result == MainWindow::Signed)
        signatureUsed(window->imageBase64);
    if (!window->endedByCommand) {
        const int success = window->result == MainWindow::Signed ? 1 : 0;
        send(asker, CreateJson(sessionReplyName, success, sessionMessage(window->result), QString(),
                               success == 1 ? QString::fromUtf8(window->imageBase64) : QString()));
    }
    g_globalObj->signWindow = nullptr;
}

void CTextMessageProcessor::ZCEndSignAB(QString functionName, QWebSocket* client,
                                        QString /*request*/)
{
    Q_EMIT sEndSign();
    send(client, CreateJson(functionName, 1, QString(), QString(), QString()));
}

void CTextMessageProcessor::ZCStopDeviceAB(QString functionName, QWebSocket* client,
                                           QString /*request*/)
{
    Q_EMIT sEndSign();
    // The pad stays open and claimed until the next start.
    g_globalObj->readThread->stopReading();
    send(client, CreateJson(functionName, 1, QString(), QString(), QString()));
}

void CTextMessageProcessor::ZCResignAB(QString functionName, QWebSocket* client,
                                       QString /*request*/)
{
    Q_EMIT sResSign();
    send(client, CreateJson(functionName, 1, QString(), QString(), QString()));
}

void CTextMessageProcessor::ZCOutputImageBase64AB(QString functionName, QWebSocket* client,
                                                  QString /*request*/)
{
    const QByteArray image = g_SignData.imageBase64;
    if (image.isEmpty())
        send(client, CreateJson(functionName, 0, textNotSigned, QString(), QString()));
    else
        send(client, CreateJson(functionName, 1, QString(), QString(), QString::fromUtf8(image)));
    signatureUsed(image);
}

// The file is for other programs on the terminal. It is not written with privacy on, because no
// reply needs it.
void CTextMessageProcessor::signatureUsed(const QByteArray& image)
{
    if (m_restrictions.keepPictures())
        Base64_To_Image(image, signatureFile());
    else
        m_forgetSignature.start();
}
