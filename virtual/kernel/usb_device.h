// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/usb_description.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace virtual_desk {

/// \brief The eight setup bytes of a control transfer.
struct UsbSetup
{
    quint8 requestType = 0;
    quint8 request = 0;
    quint16 value = 0;
    quint16 index = 0;
    quint16 length = 0;
};

/// \brief One transfer that a program requests.
struct UsbRequest
{
    enum Kind { Control, Bulk, Interrupt };

    Kind kind = Control;
    quint8 endpoint = 0; ///< with bit 7 set for IN; for control transfers 0x80 or 0x00 by direction
    UsbSetup setup;      ///< of control transfers
    QByteArray data;     ///< OUT: the bytes that the program sends
    int length = 0;      ///< IN: how many bytes fit; OUT: the size of `data`

    bool isIn() const { return (endpoint & 0x80) != 0; }
};

/// \brief What the emulated device does with a transfer.
class UsbAnswer
{
public:
    enum Kind { Complete, Fail, Never, Unplug };

    /// IN: these bytes arrive; fewer than requested are a short packet, more are an overflow.
    static UsbAnswer data(const QByteArray& bytes) { return UsbAnswer(Complete, bytes, 0, -1); }
    /// OUT: everything is accepted, or the first `bytes` only.
    static UsbAnswer accept(int bytes = -1) { return UsbAnswer(Complete, {}, 0, bytes); }
    /// The endpoint is halted (LIBUSB_ERROR_PIPE).
    static UsbAnswer stall();
    /// The transfer ends with a status of the kernel, given as a positive errno (EPROTO: damaged
    /// cable).
    static UsbAnswer fail(int error) { return UsbAnswer(Fail, {}, error, -1); }
    /// No answer: the transfer stays open until the program cancels it or `UsbDevice::retry` calls
    /// the handler again.
    static UsbAnswer never() { return UsbAnswer(Never, {}, 0, -1); }
    /// The device is unplugged during this transfer.
    static UsbAnswer unplug() { return UsbAnswer(Unplug, {}, 0, -1); }

    /// The same answer, that many milliseconds later.
    UsbAnswer after(int milliseconds) const;

    Kind kind;
    QByteArray bytes;
    int error;
    int accepted;
    int delay = 0;

private:
    UsbAnswer(Kind answerKind, const QByteArray& answerBytes, int answerError, int acceptedBytes)
        : kind(answerKind)
        , bytes(answerBytes)
        , error(answerError)
        , accepted(acceptedBytes)
    {
    }
};

/// \brief One entry of the log: a transfer or another request of a program.
struct UsbEvent
{
    enum Kind { Claim, Release, Detach, Attach, Transfer, Other };

    Kind kind = Other;
    int interface = 0;       ///< of Claim, Release, Detach, Attach
    UsbRequest request;      ///< of Transfer
    QByteArray received;     ///< of Transfer IN: the bytes that the program got
    int actual = 0;          ///< of Transfer: bytes moved, without the setup bytes
    int error = 0;           ///< 0 done, a positive errno, or Pending
    QByteArray name;         ///< of Other: "reset", "set configuration", …
    qint64 milliseconds = 0; ///< steady clock at the start

    static const int Pending = -1;

    /// One line: "claim 0", "claim 0: EBUSY", "detach 0", "release 0", "out 02: AA AA 96",
    /// "in 81: 00 01 02", "in 81: ENOENT" (the program gave up: a time-out), "in 81: pending",
    /// "control 21 09 0000 0000: 02 08" (out), "control A1 01 3000 0000: 02 00" (in).
    QString text() const;
};

class UsbPort;

/// \brief A USB device on the virtual desk, served to unmodified libusb in any process.
///
/// Starts unplugged. The handler decides about every bulk and interrupt transfer, and about the
/// control transfers that are not the same for every device (see standard_requests.h); it runs on
/// the virtual kernel's thread, one call at a time, and must not call `plug` or `unplug`
/// (`UsbAnswer::unplug` is for that). All functions may be called from any other thread.
class UsbDevice
{
public:
    using Handler = std::function<UsbAnswer(const UsbRequest&)>;

    /// The log keeps this many events, so that it does not grow without limit.
    static constexpr std::size_t MostEvents = 20000;

    UsbDevice(VirtualKernel& kernel, UsbDescription description, Handler handler);
    ~UsbDevice();
    UsbDevice(const UsbDevice&) = delete;
    UsbDevice& operator=(const UsbDevice&) = delete;

    /// Plugs the device in, under a new address each time, with the kernel drivers of the
    /// description.
    /// \return an empty text, or why not
    QString plug();
    /// Unplugs the device: open transfers end with "no device", later ones on the same open file
    /// fail at once, also after a replug (the program must open the device again).
    void unplug();
    bool isPlugged() const;

    /// While another program holds the interface, claims fail with EBUSY and a detach changes
    /// nothing.
    void setInterfaceHeldElsewhere(bool held);

    /// Calls the handler again for the open transfers of `endpoint` that it answered with "never".
    void retry(quint8 endpoint);

    /// The latest events, the oldest first.
    std::vector<UsbEvent> events() const;
    /// The events as lines, in order.
    QStringList log() const;
    void clearLog();

    struct Shared; ///< for the ports that it is plugged in to, see usb_port.h

private:
    VirtualKernel& m_kernel;
    std::shared_ptr<Shared> m_shared;
    std::shared_ptr<UsbPort> m_port;
    mutable std::mutex m_mutex;
};

} // namespace virtual_desk
