// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "sign/hid_writing_device.h"

#include <QByteArray>
#include <QObject>

/// \brief The pad through the kernel's hidraw nodes. Part of the library's interface; the service
/// itself uses `QHandWritingDevForLibUsb`.
class QLinuxHidRawDev : public QObject, public QHidWritingDevice
{
    Q_OBJECT

public:
    explicit QLinuxHidRawDev(QObject* parent = nullptr);
    ~QLinuxHidRawDev() override;

    /// Selects the first node, in the order of the directory /dev, that `isMyHidraw` accepts, and
    /// stores its path. The stored path stays when there is none.
    int findDevice() override;

    /// Opens the path found last, after closing what was open.
    /// \return 1, or -1
    int openDevice() override;

    /// Blocks until a report comes.
    /// \return 0, or -1 for fewer than 16 bytes
    int readData(int& x, int& y, int& p) override;

    int closeDevice() override;

    /// The path of the node found last; empty before the first.
    QByteArray path() const { return devicePath; }

private:
    QByteArray devicePath;
    int fd = -1;         ///< keeps its value after a close; see `opened`
    bool opened = false; ///< false: the number in `fd` may belong to another open file by now
};

/// Decides whether a hidraw node is taken for the pad. Of the pad's own nodes only the one whose
/// report descriptor starts with vendor usage page 0xFF02 carries pen reports. A node of any other
/// device is accepted too, by design: the first hidraw node of the machine counts as the pad when
/// it is not one of the pad's own.
/// \return 1 accepted, 0 rejected
int isMyHidraw(const char* path);
