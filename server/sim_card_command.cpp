// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "server/text_message_processor.h"

#include "simcard/card_reader.h"
#include "simcard/iccid.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

constexpr std::size_t nameSize = 256;
constexpr std::size_t atrSize = 1024;
constexpr std::size_t responseSize = 1024;
constexpr std::size_t printedAtrBytes = 32;
constexpr int connectionKind = 1;
constexpr const char* iccidCommands[] = {selectMasterFileCommand, selectIccidFileCommand,
                                         readIccidCommand};

struct Response
{
    std::array<char, responseSize> text{};
};

QString openReader()
{
    std::array<char, nameSize> name{};
    std::copy(std::begin(simReaderName), std::end(simReaderName), name.begin());
    std::array<char, nameSize> openResult{};
    const int code = OpenCardReader(connectionKind, name.data(), openResult.data());
    if (code != 0) {
        std::printf("打开设备端口失败,返回:t_nRe = %08X\n", static_cast<unsigned>(code));
        return QStringLiteral("打开设备端口失败");
    }
    std::printf("打开设备端口成功");
    return {};
}

QString powerOn()
{
    std::array<unsigned char, atrSize> atr{};
    const int code = CardPowerOn(atr.data());
    if (code != 0) {
        std::printf("设备上电失败,返回:t_nRe = %08X\n", static_cast<unsigned>(code));
        return QStringLiteral("设备上电失败");
    }
    std::printf("设备上电成功,ATR:");
    for (std::size_t i = 0; i < printedAtrBytes; ++i)
        std::printf("%02X ", static_cast<unsigned>(atr[i]));
    std::printf("\n");
    return {};
}

QString sendCommand(const char* command, Response& response)
{
    int responseLength = 0;
    const int code = SendApduCommand(static_cast<int>(std::strlen(command)), command,
                                     &responseLength, response.text.data());
    if (code != 0) {
        std::printf("设备APDU通讯失败,返回:t_nRe = %08X\n", static_cast<unsigned>(code));
        return QStringLiteral("设备APDU(%1)通讯失败").arg(QLatin1String(command));
    }
    response.text.back() = '\0';
    std::printf("发送APDU:%s\n", command);
    std::printf("n返回APDU:%s\n", response.text.data());
    return {};
}

QString powerOff()
{
    if (CardPowerOff() != 0) {
        std::printf("设备下电失败");
        return QStringLiteral("设备下电失败");
    }
    std::printf("设备下电成功");
    return {};
}

QString closeReader()
{
    if (CloseCardReader() != 0) {
        std::printf("设备关闭失败");
        return QStringLiteral("设备关闭失败");
    }
    std::printf("设备关闭成功");
    return {};
}

// The card's part of the sequence, between open and close.
QString readIccid(Response& response)
{
    QString failure = powerOn();
    for (const char* command : iccidCommands) {
        if (!failure.isEmpty())
            return failure;
        response = {};
        failure = sendCommand(command, response);
    }
    return failure.isEmpty() ? powerOff() : failure;
}

// Returns what failed, or an empty text. After a failure the reader is closed with the card as it
// stands; a close that failed is tried once more.
QString readSimCard(Response& response)
{
    QString failure = openReader();
    if (!failure.isEmpty())
        return failure;
    failure = readIccid(response);
    if (failure.isEmpty())
        failure = closeReader();
    if (!failure.isEmpty())
        CloseCardReader();
    return failure;
}

} // namespace

void CTextMessageProcessor::ZCSIMCard(QString functionName, QWebSocket* client, QString /*request*/)
{
    Response response;
    QString msg = readSimCard(response);
    QString iccid;
    int success = 0;
    if (msg.isEmpty()) {
        iccid = iccidFromResponse(response.text.data(), response.text.size());
        msg = QStringLiteral("获取SIM卡ICCID成功");
        success = 1;
        // Pages rely on the success being answered twice and the reader being closed twice.
        send(client, CreateJson(functionName, success, msg, iccid, {}));
        CloseCardReader();
    }
    qWarning("L_Error1");
    send(client, CreateJson(functionName, success, msg, iccid, {}));
}
