// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "diagnosis/categories.h"
#include "diagnosis/log_secrets.h"
#include "server/text_message_processor.h"
#include "simcard/iccid.h"
#include "simcard/sim_reader.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

constexpr std::size_t printedAtrBytes = 32;
constexpr int connectionKind = 1;
constexpr const char* iccidCommands[] = {selectMasterFileCommand, selectIccidFileCommand,
                                         readIccidCommand};

using Response = std::array<char, 1024>;

// All buffers that one command passes to the SIM reader library. They exist until the command's
// last call, because a maker's library may still write to a buffer after the call that got it.
struct WorkingBuffers
{
    std::array<char, 256> name{};
    std::array<char, 256> openResult{};
    std::array<unsigned char, 1024> atr{};
    int responseLength = 0;
    std::array<Response, std::size(iccidCommands)> responses{};
};

// Logs a step's result code and returns it. The command and its response are not logged, because
// they may contain the card's number.
int noted(const char* step, int code)
{
    if (code != 0)
        qCWarning(simLog, "%s: %08X", step, static_cast<unsigned>(code));
    return code;
}

// The part of a response that is printed: all of it, or the status word only.
const char* shown(const Response& response)
{
    constexpr std::size_t statusDigits = 4;
    const std::size_t length = std::strlen(response.data());
    return response.data() + (logTellsAll() ? 0 : length - std::min(length, statusDigits));
}

// Each step returns the message of its failure, or an empty text.

QString openReader(WorkingBuffers& buffers)
{
    std::copy(std::begin(simReaderName), std::end(simReaderName), buffers.name.begin());
    const int code = noted("OpenCardReader", OpenCardReader(connectionKind, buffers.name.data(),
                                                            buffers.openResult.data()));
    if (code != 0) {
        std::printf("打开设备端口失败,返回:t_nRe = %08X\n", static_cast<unsigned>(code));
        return QStringLiteral("打开设备端口失败");
    }
    std::printf("打开设备端口成功");
    return {};
}

QString powerOn(WorkingBuffers& buffers)
{
    const int code = noted("CardPowerOn", CardPowerOn(buffers.atr.data()));
    if (code != 0) {
        std::printf("设备上电失败,返回:t_nRe = %08X\n", static_cast<unsigned>(code));
        return QStringLiteral("设备上电失败");
    }
    std::printf("设备上电成功,ATR:");
    for (std::size_t i = 0; i < printedAtrBytes; ++i)
        std::printf("%02X ", static_cast<unsigned>(buffers.atr[i]));
    std::printf("\n");
    return {};
}

QString sendCommand(const char* command, int& responseLength, Response& response)
{
    const int code =
        noted("SendApduCommand", SendApduCommand(static_cast<int>(std::strlen(command)), command,
                                                 &responseLength, response.data()));
    if (code != 0) {
        std::printf("设备APDU通讯失败,返回:t_nRe = %08X\n", static_cast<unsigned>(code));
        return QStringLiteral("设备APDU(%1)通讯失败").arg(QLatin1String(command));
    }
    response.back() = '\0';
    std::printf("发送APDU:%s\n", command);
    std::printf("n返回APDU:%s\n", shown(response));
    return {};
}

QString powerOff()
{
    if (noted("CardPowerOff", CardPowerOff()) != 0) {
        std::printf("设备下电失败");
        return QStringLiteral("设备下电失败");
    }
    std::printf("设备下电成功");
    return {};
}

QString closeReader()
{
    if (noted("CloseCardReader", CloseCardReader()) != 0) {
        std::printf("设备关闭失败");
        return QStringLiteral("设备关闭失败");
    }
    std::printf("设备关闭成功");
    return {};
}

// After a failure the reader is closed without powering the card off; a close that failed is
// repeated once.
QString readSimCard(WorkingBuffers& buffers)
{
    QString failure = openReader(buffers);
    if (!failure.isEmpty())
        return failure;
    failure = powerOn(buffers);
    for (std::size_t i = 0; i < std::size(iccidCommands) && failure.isEmpty(); ++i)
        failure = sendCommand(iccidCommands[i], buffers.responseLength, buffers.responses[i]);
    if (failure.isEmpty())
        failure = powerOff();
    if (failure.isEmpty())
        failure = closeReader();
    if (!failure.isEmpty())
        CloseCardReader();
    return failure;
}

} // namespace

void CTextMessageProcessor::ZCSIMCard(QString functionName, QWebSocket* client, QString /*request*/)
{
    WorkingBuffers buffers;
    QString msg = readSimCard(buffers);
    QString iccid;
    int success = 0;
    if (msg.isEmpty()) {
        iccid = iccidFromResponse(buffers.responses.back().data(), buffers.responses.back().size());
        msg = QStringLiteral("获取SIM卡ICCID成功");
        success = 1;
        // Pages rely on getting the success reply twice; the reader is closed twice as well.
        send(client, CreateJson(functionName, success, msg, iccid, {}));
        CloseCardReader();
    }
    qWarning("L_Error1");
    send(client, CreateJson(functionName, success, msg, iccid, {}));
}
