// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"
#include "virtual/terminal/desk_device.h"

namespace virtual_desk {

/// \brief The smart-card reader with its daemon, and the SIM in it.
///
/// Plugging, repairing, inserting and removing wait for the daemon, up to a second.
class SimReaderDevice : public DeskDevice
{
public:
    /// \param ownDaemon false: the machine's daemon serves the reader. It cannot be broken then,
    /// and the plug is only this device's word.
    explicit SimReaderDevice(bool ownDaemon)
        : m_ownDaemon(ownDaemon)
    {
    }

    bool isPlugged() const override { return m_plugged; }
    QString plug() override;
    /// Also repairs the reader.
    void unplug() override;

    /// Inserts a SIM; it replaces any other. The reader must be plugged in and not broken.
    /// \param iccid 19 or 20 digits
    /// \return an empty text, or an error message
    QString insertSim(const QString& iccid);
    void pullSim();
    bool hasSim() const { return !m_iccid.isEmpty(); }

protected:
    std::optional<std::function<void()>> faultAction(const QString& fault,
                                                     CheckedObject& keys) override;
    void endFault() override;
    QJsonObject ownState() const override;

private:
    enum class Fault { None, Frozen, Crashed };

    bool startDaemon();
    bool putSimIn();

    const bool m_ownDaemon;
    PcscDaemon m_daemon;
    VirtualSimCard m_sim;
    bool m_plugged = false;
    Fault m_faulty = Fault::None;
    QString m_iccid; ///< empty without a SIM
};

} // namespace virtual_desk
