// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The commands that set parameters of the next signing session. An open session is never changed.

#include "server/text_message_processor.h"
#include "sign/session_state.h"

#include <QWebSocket>

struct CTextMessageProcessor::Setting
{
    const char* key; // of the request
    int* field;      // any value is stored; text that is no number as 0
};

void CTextMessageProcessor::storeSettings(const QString& functionName, QWebSocket* client,
                                          const QString& request,
                                          std::initializer_list<Setting> settings)
{
    if (CheckSigning(functionName, client))
        return;
    for (const Setting& setting : settings)
        *setting.field = ParseJson(request, QLatin1String(setting.key)).toInt();
    Q_EMIT sEndSign();
    send(client, CreateJson(functionName, 1, QString(), QString(), QString()));
}

void CTextMessageProcessor::ZCSetTransparency(QString functionName, QWebSocket* client,
                                              QString request)
{
    storeSettings(functionName, client, request, {{"Percent", &g_SignData.transparency}});
}

void CTextMessageProcessor::ZCSetPenWidth(QString functionName, QWebSocket* client, QString request)
{
    storeSettings(functionName, client, request, {{"Width", &g_SignData.penWidth}});
}

void CTextMessageProcessor::ZCSetModeAB(QString functionName, QWebSocket* client, QString request)
{
    storeSettings(functionName, client, request, {{"mode", &g_SignData.mode}});
}

void CTextMessageProcessor::ZCSetSignScreenPosSizeAB(QString functionName, QWebSocket* client,
                                                     QString request)
{
    storeSettings(functionName, client, request,
                  {{"x", &g_SignData.screenX},
                   {"y", &g_SignData.screenY},
                   {"width", &g_SignData.screenWidth},
                   {"height", &g_SignData.screenHeight}});
}
