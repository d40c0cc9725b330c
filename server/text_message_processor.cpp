// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/text_message_processor.h"

#include "server/unread_replies.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QWebSocket>

#include <cstdio>

namespace {

/// The request's object; empty when the text is no JSON object.
QJsonObject parsedObject(const QString& text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

/// A member's value as text; empty when it is missing, null, an array or an object.
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

CTextMessageProcessor::CTextMessageProcessor(QObject* parent)
    : QObject(parent)
{
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

    if (act == QLatin1String("test")) {
        ZCGetSAMNum(function, client, request);
    } else if (act == QLatin1String("readIntegratedCard")) {
        ZCReadIDCard(function, client, request);
    } else if (const Command* command = findCommand(function)) {
        qWarning("%s", command->diagnostic);
        (this->*command->handler)(function, client, request);
    } else if (client) {
        qWarning("pClient");
        send(client, request);
    }
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
