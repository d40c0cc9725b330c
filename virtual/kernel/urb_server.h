// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/kernel/urb_messages.h"
#include "virtual/kernel/usb_port.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <set>
#include <thread>

namespace virtual_desk {

/// \brief A device at the other end of a socket from a kernel, with a thread of its own, on which
/// the device's handler runs.
///
/// The transfers of one endpoint are carried out one after the other: the next begins when the one
/// before it has ended or is forgotten. The log holds what programs ask for, without the standard
/// requests, which are the kernel's.
class UrbServer
{
public:
    /// \param socket is closed with this object
    /// \param ended is called once on the thread, when the kernel has closed its end or the device
    /// has pulled the plug; not after `stop`
    UrbServer(int socket, std::shared_ptr<UsbDevice::Shared> device, std::function<void()> ended);
    ~UrbServer();
    UrbServer(const UrbServer&) = delete;
    UrbServer& operator=(const UrbServer&) = delete;

    /// Ends what is open and the thread. Any thread but that one.
    void stop();
    /// Asks the device again for the transfer that waits at the endpoint. Any thread.
    void retry(quint8 endpoint);

private:
    using Clock = std::chrono::steady_clock;

    /// A transfer that has not ended.
    struct Urb
    {
        quint32 number = 0;
        UsbRequest request;
        std::shared_ptr<UsbEvent> event; ///< null for standard requests
        std::optional<UsbAnswer> answer; ///< one that comes later
        Clock::time_point due;

        /// The same for both directions of endpoint 0.
        int queue() const { return request.kind == UsbRequest::Control ? 0 : request.endpoint; }
    };

    void run();
    bool serveOnce();
    bool awaitWork() const;
    bool receive();
    std::optional<QByteArray> receiveBytes(int count) const;
    void send(const QByteArray& message) const;
    void submit(const UrbCommand& command, const QByteArray& data);
    void unlink(const UrbCommand& command);
    void advance(int queue);
    void askAgain();
    void deliverDue();
    void deliver(std::list<Urb>::iterator urb);
    void finish(const Urb& urb, int status, int actual, const QByteArray& bytes = {});
    void note(const Urb& urb, int error, int actual, const QByteArray& received) const;
    int millisecondsToNext() const;
    void wake() const;

    const int m_socket;
    const int m_wake;
    std::shared_ptr<UsbDevice::Shared> m_device;
    std::function<void()> m_ended;
    std::list<Urb> m_urbs; ///< in the order of their arrival; on the thread alone
    bool m_pulled = false; ///< the device has pulled the plug; on the thread alone
    std::atomic<bool> m_stopping{false};
    std::mutex m_mutex;
    std::set<int> m_again; ///< queues to ask again, under the mutex
    std::thread m_thread;  ///< last: it uses the rest
};

} // namespace virtual_desk
