// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/cards/identity_card.h"
#include "virtual/readers/identity_reader_hid.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/terminal/desk_device.h"

#include <optional>

namespace virtual_desk {

/// \brief What both identity-card readers have: a card. It may be on an unplugged reader too.
class IdentityReaderDevice : public DeskDevice
{
public:
    void putCard(const IdentityCard& card);
    void takeCard();
    const std::optional<IdentityCard>& card() const { return m_card; }

    virtual QStringList log() const = 0;
    virtual void clearLog() = 0;

protected:
    virtual void setCardData(const QByteArray& data) = 0;
    QJsonObject ownState() const override;

private:
    std::optional<IdentityCard> m_card;
};

/// \brief The USB identity-card reader.
class UsbReaderDevice : public IdentityReaderDevice
{
public:
    explicit UsbReaderDevice(VirtualKernel& kernel);

    bool isPlugged() const override { return m_reader.isPlugged(); }
    QString plug() override;
    void unplug() override { m_reader.unplug(); }

    /// \param module "0501" or "0503"; also repairs the reader
    void setModule(const QString& module);

    QStringList log() const override { return m_reader.log(); }
    void clearLog() override { m_reader.clearLog(); }

protected:
    void setCardData(const QByteArray& data) override { m_reader.putCard(data); }
    std::optional<std::function<void()>> faultAction(const QString& fault,
                                                     CheckedObject& keys) override;
    void endFault() override;
    QJsonObject ownState() const override;

private:
    IdentityReaderUsb m_reader;
    QString m_module;
};

/// \brief The HID identity-card reader.
class HidReaderDevice : public IdentityReaderDevice
{
public:
    explicit HidReaderDevice(VirtualKernel& kernel);

    bool isPlugged() const override { return m_reader.isPlugged(); }
    QString plug() override;
    void unplug() override { m_reader.unplug(); }

    QStringList log() const override { return m_reader.log(); }
    void clearLog() override { m_reader.clearLog(); }

protected:
    void setCardData(const QByteArray& data) override { m_reader.putCard(data); }
    std::optional<std::function<void()>> faultAction(const QString& fault,
                                                     CheckedObject& keys) override;
    void endFault() override;

private:
    IdentityReaderHid m_reader;
};

} // namespace virtual_desk
