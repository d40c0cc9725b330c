// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/identity_reader_device.h"

#include "virtual/terminal/card_request.h"

#include <QHash>

namespace virtual_desk {
namespace {

using Action = std::function<void()>;

constexpr int longestDelayMs = 60000;
constexpr int mostTransfers = 10000;
constexpr int mostBusyReplies = 1000;

// Faults of both readers.
template <typename Reader>
std::optional<Action> commonFault(Reader& reader, const QString& fault, CheckedObject& keys)
{
    if (fault == QLatin1String("held"))
        return [&reader] { reader.setHeldElsewhere(true); };
    if (fault == QLatin1String("stall"))
        return [&reader] { reader.replaceTransfersFrom(0, UsbAnswer::stall()); };
    if (fault == QLatin1String("silent"))
        return [&reader] { reader.replaceTransfersFrom(0, UsbAnswer::never()); };
    if (fault == QLatin1String("slow")) {
        const int delay = keys.integer(QStringLiteral("milliseconds"), 1, longestDelayMs);
        return [&reader, delay] { reader.setReplyDelay(delay); };
    }
    if (fault == QLatin1String("unplugAt")) {
        const int transfer = keys.integer(QStringLiteral("transfer"), 0, mostTransfers);
        return [&reader, transfer] { reader.replaceTransfer(transfer, UsbAnswer::unplug()); };
    }
    return std::nullopt;
}

template <typename Command>
Command chosenCommand(CheckedObject& keys, const QHash<QString, Command>& commands)
{
    QStringList names = commands.keys();
    names.sort();
    const QString name = keys.choice(QStringLiteral("of"), names);
    return commands.value(name, *commands.begin());
}

QByteArray statusBytes(CheckedObject& keys)
{
    const QString digits = keys.text(QStringLiteral("status"));
    QByteArray bytes = QByteArray::fromHex(digits.toLatin1());
    if (digits.size() != 6 || bytes.toHex() != digits.toLower().toLatin1())
        keys.complain(QStringLiteral("\"status\" must be six hexadecimal digits."));
    return bytes;
}

} // namespace

void IdentityReaderDevice::putCard(const IdentityCard& card)
{
    m_card = card;
    setCardData(cardData(card));
}

void IdentityReaderDevice::takeCard()
{
    m_card.reset();
    setCardData({});
}

QJsonObject IdentityReaderDevice::ownState() const
{
    return {{QStringLiteral("card"), m_card ? QJsonValue(cardState(*m_card)) : QJsonValue()}};
}

UsbReaderDevice::UsbReaderDevice(VirtualKernel& kernel)
    : m_reader(kernel, IdentityReaderUsb::Module0503)
    , m_module(QStringLiteral("0503"))
{
}

QString UsbReaderDevice::plug()
{
    return m_reader.plug();
}

void UsbReaderDevice::setModule(const QString& module)
{
    repair();
    m_module = module;
    m_reader.setModule(module == QLatin1String("0501") ? IdentityReaderUsb::Module0501
                                                       : IdentityReaderUsb::Module0503);
}

std::optional<Action> UsbReaderDevice::faultAction(const QString& fault, CheckedObject& keys)
{
    static const QHash<QString, IdentityReaderUsb::Command> commands = {
        {QStringLiteral("getSamNumber"), IdentityReaderUsb::GetSamNumber},
        {QStringLiteral("findCard"), IdentityReaderUsb::FindCard},
        {QStringLiteral("selectCard"), IdentityReaderUsb::SelectCard},
        {QStringLiteral("readCard"), IdentityReaderUsb::ReadCard},
    };
    if (fault != QLatin1String("status"))
        return commonFault(m_reader, fault, keys);
    const IdentityReaderUsb::Command command = chosenCommand(keys, commands);
    const QByteArray status = statusBytes(keys);
    return [this, command, status] { m_reader.setStatus(command, status); };
}

void UsbReaderDevice::endFault()
{
    m_reader.resetFaults();
    m_reader.setHeldElsewhere(false);
}

QJsonObject UsbReaderDevice::ownState() const
{
    QJsonObject state = IdentityReaderDevice::ownState();
    state.insert(QStringLiteral("module"), m_module);
    return state;
}

HidReaderDevice::HidReaderDevice(VirtualKernel& kernel)
    : m_reader(kernel)
{
}

QString HidReaderDevice::plug()
{
    return m_reader.plug();
}

std::optional<Action> HidReaderDevice::faultAction(const QString& fault, CheckedObject& keys)
{
    static const QHash<QString, IdentityReaderHid::Command> commands = {
        {QStringLiteral("requestCard"), IdentityReaderHid::RequestCard},
        {QStringLiteral("selectCard"), IdentityReaderHid::SelectCard},
    };
    if (fault == QLatin1String("result")) {
        const IdentityReaderHid::Command command = chosenCommand(keys, commands);
        const int result = keys.integer(QStringLiteral("result"), 0, 255);
        return [this, command, result] { m_reader.setResult(command, result); };
    }
    if (fault == QLatin1String("busy")) {
        const int count = keys.integer(QStringLiteral("count"), 1, mostBusyReplies);
        return [this, count] { m_reader.setBusyReplies(count); };
    }
    return commonFault(m_reader, fault, keys);
}

void HidReaderDevice::endFault()
{
    m_reader.resetFaults();
    m_reader.setHeldElsewhere(false);
}

} // namespace virtual_desk
