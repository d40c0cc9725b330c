// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/text_message_processor.h"

#include "diagnosis/categories.h"
#include "server/unread_replies.h"
#include "sign/session_state.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QWebSocket>

#include <cstdio>

namespace {

// The request's object; empty when the text is no JSON object.
QJsonObject parsedObject(const QString& text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

// A member's value as text; empty when it is missing, null, an array or an object.
QString textOf(const QJsonObject& object, const QString& key)
{
    return object.value(key).toVariant().toString();
}

} // namespace

struct CTextMessageProcessor::Command
{
    const char* function;
    const char* diagnostic;
    void (CTextMessageProcessor::*handler)(QString, QWebSocket*, QString);
};

CTextMessageProcessor::CTextMessageProcessor(QObject* parent, const Restrictions& restrictions)
    : QObject(parent)
    , m_restrictions(restrictions)
{
    m_forgetSignature.setSingleShot(true);
    m_forgetSignature.setInterval(restrictions.privacy);
    connect(&m_forgetSignature, &QTimer::timeout, this, [] { g_SignData.imageBase64.clear(); });
}

void CTextMessageProcessor::Process(QWebSocket* client, QString request)
{
    request.replace(QLatin1Char('\''), QLatin1Char('"'));
    dispatch(client, request);
    std::fflush(stdout); // the devices' progress lines must be written by the end of the command
}

void CTextMessageProcessor::dispatch(QWebSocket* client, const QString& request)
{
    const QJsonObject keys = parsedObject(request);
    const QString function = textOf(keys, QStringLiteral("function"));
    const QString act = textOf(keys, QStringLiteral("act"));
    m_tflag = textOf(keys, QStringLiteral("_tflag"));

    if (!isServed(function, act)) {
        qCWarning(serverLog, "a command that the settings leave out");
        sendBack(client, request);
    } else if (act == QLatin1String("test")) {
        ZCGetSAMNum(function, client, request);
    } else if (act == QLatin1String("readIntegratedCard")) {
        ZCReadIDCard(function, client, request);
    } else if (const Command* command = findCommand(function)) {
        qWarning("%s", command->diagnostic);
        (this->*command->handler)(function, client, request);
    } else {
        sendBack(client, request);
    }
}

bool CTextMessageProcessor::isServed(const QString& function, const QString& act) const
{
    if (act == QLatin1String("test"))
        return m_restrictions.serve(QStringLiteral("ZCGetSAMNum"));
    if (act == QLatin1String("readIntegratedCard"))
        return m_restrictions.serve(QStringLiteral("ZCReadIDCard"));
    return m_restrictions.serve(function);
}

void CTextMessageProcessor::sendBack(QWebSocket* client, const QString& request)
{
    if (!client)
        return;
    qWarning("pClient");
    send(client, request);
}

const CTextMessageProcessor::Command* CTextMessageProcessor::findCommand(const QString& function)
{
    static const Command commands[] = {
        {"ZCDeviceExist", "ZCDeviceExist", &CTextMessageProcessor::OnZCDeviceExist},
        {"ZCStartDeviceAB", "ZCStartDeviceAB", &CTextMessageProcessor::OnZCStartDeviceAB},
        {"ZCBeginSignAB", "ZCBeginSignAB", &CTextMessageProcessor::ZCBeginSignAB},
        {"ZCOutputImageBase64AB", "ZCOutputImageBase64AB",
         &CTextMessageProcessor::ZCOutputImageBase64AB},
        {"ZCEndSignAB", "ZCEndSignAB", &CTextMessageProcessor::ZCEndSignAB},
        {"ZCSetTransparency", "ZCSetTransparency", &CTextMessageProcessor::ZCSetTransparency},
        {"ZCSetPenWidth", "ZCSetPenWidth", &CTextMessageProcessor::ZCSetPenWidth},
        {"ZCSetModeAB", "ZCSetModeAB", &CTextMessageProcessor::ZCSetModeAB},
        {"ZCStopDeviceAB", "ZCStopDeviceAB", &CTextMessageProcessor::ZCStopDeviceAB},
        {"ZCResignAB", "ZCResignAB", &CTextMessageProcessor::ZCResignAB},
        {"ZCSetSignScreenPosSizeAB", "ZCSetSignScreenPosSizeAB",
         &CTextMessageProcessor::ZCSetSignScreenPosSizeAB},
        {"ZCGetSAMNum", "ZCGetSAMNum", &CTextMessageProcessor::ZCGetSAMNum},
        {"ZCReadIDCard", "ZCReadIDCard1", &CTextMessageProcessor::ZCReadIDCard},
        {"ZCReadHIDOpen", "ZCReadHIDOpen", &CTextMessageProcessor::ZCReadHIDOpen},
        {"ZCReadHIDIDCard", "ZCReadHIDIDCard", &CTextMessageProcessor::ZCReadHIDIDCard},
        {"ZCCameraPic", "ZCCameraPic", &CTextMessageProcessor::ZCCameraPic},
        {"ZCSIMCard", "ZCSIMCard", &CTextMessageProcessor::ZCSIMCard},
    };
    for (const Command& command : commands)
        if (function == QLatin1String(command.function))
            return &command;
    return nullptr;
}

QString CTextMessageProcessor::ParseJson(QString text, QString key)
{
    return textOf(parsedObject(text), key);
}

QString CTextMessageProcessor::CreateJson(QString functionName, int success, QString msg,
                                          QString data, QString base64) const
{
    QJsonObject reply{
        {QStringLiteral("functionName"), functionName},
        {QStringLiteral("success"), success},
        {QStringLiteral("msg"), msg},
        {QStringLiteral("_tflag"), m_tflag},
    };
    if (!data.isEmpty())
        reply.insert(QStringLiteral("data"), data);
    if (!base64.isEmpty())
        reply.insert(QStringLiteral("Base64"), base64);
    return QString::fromUtf8(QJsonDocument(reply).toJson(QJsonDocument::Compact));
}

void CTextMessageProcessor::send(QWebSocket* client, const QString& reply)
{
    if (!canBeAnswered(client))
        return;
    client->sendTextMessage(reply);
    client->flush(); // sent now, not at the next iteration of the event loop or after the handler
}
