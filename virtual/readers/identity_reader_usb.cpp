// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/readers/identity_reader_usb.h"

#include "virtual/cards/identity_card.h"

namespace virtual_desk {

namespace {

constexpr quint16 vendor = 0x0400;
constexpr quint16 product = 0xC35A;

constexpr quint8 wholeOut = 0x01;
constexpr quint8 headerOut = 0x02;
constexpr quint8 bodyOut = 0x06;
constexpr quint8 headerIn = 0x81;
constexpr quint8 bodyIn = 0x85;

constexpr int headerBytes = 7;
constexpr int frameBytes = 10;

const char preamble[] = "\xAA\xAA\xAA\x96\x69";

QByteArray word(int value)
{
    return QByteArray(1, static_cast<char>(value >> 8)) + static_cast<char>(value);
}

char checkByte(const QByteArray& bytes)
{
    char check = 0;
    for (const char byte : bytes)
        check = static_cast<char>(check ^ byte);
    return check;
}

UsbDescription description(IdentityReaderUsb::Module module)
{
    constexpr quint16 packet = 64;
    const auto bulk = [](quint8 address) {
        return UsbEndpoint{address, UsbEndpoint::Bulk, packet, 0};
    };
    UsbInterface interface;
    if (module == IdentityReaderUsb::Module0501)
        interface.endpoints = {bulk(headerOut), bulk(bodyOut), bulk(headerIn), bulk(bodyIn)};
    else
        interface.endpoints = {bulk(wholeOut), bulk(headerOut), bulk(headerIn)};
    return {vendor, product, {interface}, "Identity card reader"};
}

} // namespace

struct IdentityReaderUsb::Faults
{
    struct RawReply
    {
        QByteArray header;
        QByteArray body;
    };

    bool framesOnSecondEndpointOnly = false;
    std::map<int, QByteArray> statuses;
    std::map<int, RawReply> rawReplies;
    int statedReadLength = -1;
    int replyDelay = 0;
    TransferScript script;
};

QByteArray IdentityReaderUsb::factorySamNumber()
{
    return QByteArray::fromHex("0503000133A1B2C3D4E5F60708090A0B");
}

IdentityReaderUsb::IdentityReaderUsb(VirtualKernel& kernel, Module module)
    : m_kernel(kernel)
    , m_module(module)
    , m_samNumber(factorySamNumber())
    , m_faults(std::make_unique<Faults>())
{
    createDevice();
}

IdentityReaderUsb::~IdentityReaderUsb() = default;

void IdentityReaderUsb::createDevice()
{
    m_device =
        std::make_unique<UsbDevice>(m_kernel, description(m_module),
                                    [this](const UsbRequest& request) { return answer(request); });
}

QString IdentityReaderUsb::plug()
{
    return m_device->plug();
}

void IdentityReaderUsb::unplug()
{
    m_device->unplug();
}

bool IdentityReaderUsb::isPlugged() const
{
    return m_device->isPlugged();
}

void IdentityReaderUsb::setModule(Module module)
{
    const bool plugged = isPlugged();
    m_device->unplug();
    m_device.reset();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_module = module;
        m_replies.clear();
    }
    createDevice();
    if (plugged)
        plug();
}

void IdentityReaderUsb::putCard(const QByteArray& data)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_card = data;
}

void IdentityReaderUsb::takeCard()
{
    putCard({});
}

void IdentityReaderUsb::setFramesOnSecondEndpointOnly(bool second)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->framesOnSecondEndpointOnly = second;
}

void IdentityReaderUsb::setStatus(Command command, const QByteArray& status)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->statuses[command] = status;
}

void IdentityReaderUsb::setStatedReadLength(int length)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->statedReadLength = length;
}

void IdentityReaderUsb::setRawReply(Command command, const QByteArray& header,
                                    const QByteArray& body)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->rawReplies[command] = {header, body};
}

void IdentityReaderUsb::setReplyDelay(int milliseconds)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->replyDelay = milliseconds;
}

void IdentityReaderUsb::replaceTransfer(int transfer, const UsbAnswer& answer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->script.replace(transfer, answer);
}

void IdentityReaderUsb::replaceTransfersFrom(int transfer, const UsbAnswer& answer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults->script.replaceFrom(transfer, answer);
}

void IdentityReaderUsb::resetFaults()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    *m_faults = {};
    m_replies.clear();
}

void IdentityReaderUsb::setHeldElsewhere(bool held)
{
    m_device->setInterfaceHeldElsewhere(held);
}

QStringList IdentityReaderUsb::log() const
{
    return m_device->log();
}

std::vector<UsbEvent> IdentityReaderUsb::events() const
{
    return m_device->events();
}

void IdentityReaderUsb::clearLog()
{
    m_device->clearLog();
}

// This function and those below run on the virtual kernel's thread.
UsbAnswer IdentityReaderUsb::answer(const UsbRequest& request)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (const std::optional<UsbAnswer> scripted = m_faults->script.next())
        return *scripted;
    if (request.kind != UsbRequest::Bulk)
        return UsbAnswer::stall();
    return request.isIn() ? giveReply(request.endpoint) : takeBytes(request);
}

UsbAnswer IdentityReaderUsb::takeBytes(const UsbRequest& request)
{
    if (m_module == Module0503) {
        if (request.endpoint == wholeOut && m_faults->framesOnSecondEndpointOnly)
            return UsbAnswer::stall();
        if (request.data.size() == frameBytes)
            execute(request.data.mid(headerBytes));
    } else if (request.endpoint == bodyOut) {
        execute(request.data);
    }
    return UsbAnswer::accept();
}

UsbAnswer IdentityReaderUsb::giveReply(quint8 endpoint)
{
    const auto waiting = m_replies.find(endpoint);
    if (waiting == m_replies.end())
        return UsbAnswer::never();
    const UsbAnswer answer = UsbAnswer::data(waiting->second).after(m_faults->replyDelay);
    m_replies.erase(waiting);
    return answer;
}

void IdentityReaderUsb::execute(const QByteArray& commandBody)
{
    if (commandBody.size() != frameBytes - headerBytes)
        return;
    const auto command = static_cast<quint8>(commandBody.at(0));
    const auto parameter = static_cast<quint8>(commandBody.at(1));
    const int key = command == ReadCard ? ReadCard : command << 8 | parameter;
    m_replies.clear(); // replies to an earlier command are dropped
    const auto raw = m_faults->rawReplies.find(key);
    if (raw != m_faults->rawReplies.end()) {
        m_replies[headerIn] = raw->second.header;
        m_replies[bodyIn] = raw->second.body;
        return;
    }
    const auto status = m_faults->statuses.find(key);
    if (status != m_faults->statuses.end())
        reply(key, status->second, {});
    else
        reply(key, statusOf(key), dataOf(key));
}

QByteArray IdentityReaderUsb::statusOf(int command) const
{
    const bool needsCard = command != GetSamNumber;
    if (!needsCard || !m_card.isEmpty())
        return QByteArray::fromHex("000090");
    switch (command) {
    case FindCard:
        return QByteArray::fromHex("000080");
    case SelectCard:
        return QByteArray::fromHex("000081");
    default:
        return QByteArray::fromHex("000041");
    }
}

// The reply begins with the lengths of text and photo, and for the read command of the "0503"
// module also with the fingerprints' length; the data follow.
QByteArray IdentityReaderUsb::dataOf(int command) const
{
    if (command == GetSamNumber)
        return m_samNumber;
    if (command != ReadCard || m_card.isEmpty())
        return {};
    QByteArray lengths = word(cardTextBytes) + word(cardPhotoBytes);
    if (m_module == Module0503)
        lengths += word(static_cast<int>(m_card.size()) - cardTextBytes - cardPhotoBytes);
    return lengths + m_card;
}

void IdentityReaderUsb::reply(int command, const QByteArray& status, const QByteArray& data)
{
    QByteArray body = status + data;
    int length = static_cast<int>(body.size()) + 1;
    body += checkByte(word(length) + body);
    if (command == ReadCard && m_faults->statedReadLength >= 0)
        length = m_faults->statedReadLength;
    const QByteArray header = QByteArray(preamble) + word(length);
    if (m_module == Module0503) {
        m_replies[headerIn] = header + body;
        return;
    }
    m_replies[headerIn] = header;
    // Only the "0501" module repeats the whole frame in its reply to a selection.
    m_replies[bodyIn] = command == SelectCard ? header + body : body;
}

} // namespace virtual_desk
