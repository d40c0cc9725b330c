// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "sign/hid_writing_device.h"

#include <QByteArray>
#include <QObject>

/// \brief A driver without a device: finds nothing, opens nothing, reads no samples. Part of
/// the library's interface; the service itself does not use it.
class QLinuxHidDev : public QObject, public QHidWritingDevice
{
    Q_OBJECT

public:
    explicit QLinuxHidDev(QObject* parent = nullptr);

    int findDevice() override; ///< \return 0
    int openDevice() override; ///< \return -1
    /// Leaves the outputs untouched.
    /// \return 0
    int readData(int& x, int& y, int& p) override;
    int closeDevice() override; ///< \return 0

private:
    QByteArray devicePath;
};
