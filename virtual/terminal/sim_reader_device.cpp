// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/sim_reader_device.h"

#include <algorithm>

namespace virtual_desk {
namespace {

// The content of the card's file: the digits of each pair swapped, an odd number padded with F.
QByteArray storedIccid(const QString& iccid)
{
    QString digits = iccid.leftJustified(20, QLatin1Char('F'));
    for (int i = 0; i < digits.size(); i += 2)
        std::iter_swap(digits.begin() + i, digits.begin() + i + 1);
    return QByteArray::fromHex(digits.toLatin1());
}

} // namespace

QString SimReaderDevice::plug()
{
    m_plugged = startDaemon();
    if (!m_ownDaemon && !m_plugged)
        return QStringLiteral("The machine's PC/SC daemon has no reader \"%1\" for a virtual card.")
            .arg(QLatin1String(PcscDaemon::ReaderName));
    return m_plugged
               ? QString()
               : QStringLiteral("The PC/SC daemon did not start, or did not take the SIM:\n") +
                     m_daemon.log();
}

void SimReaderDevice::unplug()
{
    repair();
    m_sim.pull();
    m_plugged = false;
    if (!m_ownDaemon)
        return;
    m_daemon.stop();
    m_daemon.start(PcscDaemon::Reader::none);
}

QString SimReaderDevice::insertSim(const QString& iccid)
{
    m_iccid = iccid;
    if (putSimIn())
        return {};
    pullSim();
    return QStringLiteral("The PC/SC daemon did not take the SIM:\n") + m_daemon.log();
}

void SimReaderDevice::pullSim()
{
    m_sim.pull();
    m_iccid.clear();
    if (!isBroken()) // a stopped or frozen daemon would not report the removal
        m_sim.awaitRemoval();
}

bool SimReaderDevice::startDaemon()
{
    if (!m_ownDaemon)
        return PcscDaemon::hasReaders() && (m_iccid.isEmpty() || putSimIn());
    m_daemon.stop();
    if (m_daemon.start() && (m_iccid.isEmpty() || putSimIn()))
        return true;
    m_sim.pull();
    m_daemon.stop();
    return false;
}

bool SimReaderDevice::putSimIn()
{
    m_sim.setIccid(storedIccid(m_iccid));
    return m_sim.insert();
}

std::optional<std::function<void()>> SimReaderDevice::faultAction(const QString& fault,
                                                                  CheckedObject& keys)
{
    if (!m_plugged)
        keys.complain(QStringLiteral("\"simReader\" is not plugged in."));
    if (!m_ownDaemon)
        return std::nullopt;
    if (fault == QLatin1String("frozen"))
        return [this] {
            m_faulty = Fault::Frozen;
            m_daemon.freeze();
        };
    if (fault == QLatin1String("crashed"))
        return [this] {
            m_faulty = Fault::Crashed;
            m_daemon.kill();
        };
    return std::nullopt;
}

void SimReaderDevice::endFault()
{
    const Fault fault = std::exchange(m_faulty, Fault::None);
    if (fault == Fault::Frozen)
        m_daemon.thaw();
    else if (fault == Fault::Crashed)
        m_plugged = startDaemon();
}

QJsonObject SimReaderDevice::ownState() const
{
    return {{QStringLiteral("iccid"), m_iccid.isEmpty() ? QJsonValue() : QJsonValue(m_iccid)}};
}

} // namespace virtual_desk
