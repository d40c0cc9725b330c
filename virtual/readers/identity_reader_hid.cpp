// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/readers/identity_reader_hid.h"

#include <utility>

namespace virtual_desk {

namespace {

constexpr int reportBytes = 32;
constexpr int firstDataBytes = 27;
constexpr int nextDataBytes = 31;

constexpr char single = '\x02';
constexpr char first = '\x82';
constexpr char busy = '\x16';
constexpr int commandAt = 5;

// Without report ids: input reports of 8 bytes, which never come, and the feature reports.
QByteArray reportDescriptor()
{
    return QByteArray::fromHex("0600FF0901A101"   // a vendor-defined collection:
                               "150026FF007508"   // bytes,
                               "950809018102"     // 8 as input
                               "95200901B102C0"); // and 32 as feature
}

UsbDescription description()
{
    constexpr quint8 hidClass = 0x03;
    constexpr quint16 packet = 8;
    constexpr quint8 interval = 10;
    UsbInterface interface;
    interface.classCode = hidClass;
    interface.endpoints = {{0x81, UsbEndpoint::Interrupt, packet, interval}};
    interface.kernelDriver = "usbhid";
    interface.reportDescriptor = reportDescriptor();
    return {0x072F, 0x90D5, {interface}, "HID identity card reader"};
}

QByteArray padded(const QByteArray& report)
{
    return report.leftJustified(reportBytes, '\0', true);
}

QByteArray replyHeader(char kind, char status, int length)
{
    const char header[] = {kind, 0, status, static_cast<char>(length),
                           static_cast<char>(length >> 8)};
    return {header, sizeof(header)};
}

} // namespace

IdentityReaderHid::IdentityReaderHid(VirtualKernel& kernel)
    : m_device(kernel, description(), [this](const UsbRequest& request) { return answer(request); })
{
}

QString IdentityReaderHid::plug()
{
    return m_device.plug();
}

void IdentityReaderHid::unplug()
{
    m_device.unplug();
}

bool IdentityReaderHid::isPlugged() const
{
    return m_device.isPlugged();
}

void IdentityReaderHid::putCard(const QByteArray& data)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_card = data;
}

void IdentityReaderHid::takeCard()
{
    putCard({});
}

void IdentityReaderHid::setResult(Command command, int result)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.results[command] = result;
}

void IdentityReaderHid::setBusyReplies(int count)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.busyReplies = count;
}

void IdentityReaderHid::setRawReply(const QList<QByteArray>& reports)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.rawReply = reports;
}

void IdentityReaderHid::setReplyDelay(int milliseconds)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.replyDelay = milliseconds;
}

void IdentityReaderHid::replaceTransfer(int transfer, const UsbAnswer& answer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.script.replace(transfer, answer);
}

void IdentityReaderHid::replaceTransfersFrom(int transfer, const UsbAnswer& answer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.script.replaceFrom(transfer, answer);
}

void IdentityReaderHid::resetFaults()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults = {};
    m_reports.clear();
    m_busyLeft = 0;
}

void IdentityReaderHid::setHeldElsewhere(bool held)
{
    m_device.setInterfaceHeldElsewhere(held);
}

QStringList IdentityReaderHid::log() const
{
    return m_device.log();
}

std::vector<UsbEvent> IdentityReaderHid::events() const
{
    return m_device.events();
}

void IdentityReaderHid::clearLog()
{
    m_device.clearLog();
}

QList<QByteArray> IdentityReaderHid::reportsOf(const QByteArray& message)
{
    const char kind = message.size() > firstDataBytes ? first : single;
    QList<QByteArray> reports = {padded(replyHeader(kind, 0, static_cast<int>(message.size())) +
                                        message.left(firstDataBytes))};
    for (int at = firstDataBytes; at < message.size(); at += nextDataBytes) {
        const bool last = message.size() - at <= nextDataBytes;
        reports += padded(QByteArray(1, last ? single : first) + message.mid(at, nextDataBytes));
    }
    return reports;
}

// This function and those below run on the virtual kernel's thread.
UsbAnswer IdentityReaderHid::answer(const UsbRequest& request)
{
    constexpr quint8 setReport = 9;
    constexpr quint8 getReport = 1;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (const std::optional<UsbAnswer> scripted = m_faults.script.next())
        return *scripted;
    const UsbSetup& setup = request.setup;
    if (setup.requestType == 0x21 && setup.request == setReport && setup.value == 0) {
        execute(request.data);
        return UsbAnswer::accept();
    }
    if (setup.requestType == 0xA1 && setup.request == getReport && setup.value == 0x3000)
        return giveReport();
    return UsbAnswer::stall();
}

void IdentityReaderHid::execute(const QByteArray& report)
{
    if (report.size() != reportBytes || report.at(0) != single)
        return;
    const auto command = static_cast<Command>(static_cast<quint8>(report.at(commandAt)));
    m_reports.clear();
    m_busyLeft = 0;
    if (command != ReadCard) {
        replyWithResult(command);
        return;
    }
    m_busyLeft = m_faults.busyReplies;
    constexpr char noCard = '\x01';
    const QList<QByteArray> noData = {padded(replyHeader(single, noCard, 0))};
    QList<QByteArray> reports = m_card.isEmpty() ? noData : reportsOf(m_card);
    if (!m_faults.rawReply.isEmpty())
        reports = m_faults.rawReply;
    for (const QByteArray& entry : std::as_const(reports))
        m_reports.push_back(padded(entry));
}

void IdentityReaderHid::replyWithResult(Command command)
{
    const auto forced = m_faults.results.find(command);
    int result = m_card.isEmpty() ? 1 : 0;
    if (forced != m_faults.results.end())
        result = forced->second;
    m_reports.push_back(padded(replyHeader(single, 0, result)));
}

UsbAnswer IdentityReaderHid::giveReport()
{
    QByteArray report(reportBytes, '\0');
    if (m_busyLeft != 0) {
        report = padded(replyHeader(single, busy, 0));
        m_busyLeft -= m_busyLeft > 0 ? 1 : 0;
    } else if (!m_reports.empty()) {
        report = m_reports.front();
        m_reports.pop_front();
    }
    return UsbAnswer::data(report).after(m_faults.replyDelay);
}

} // namespace virtual_desk
