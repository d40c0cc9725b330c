// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/urb_server.h"

#include "virtual/kernel/standard_requests.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace virtual_desk {

UrbServer::UrbServer(int socket, std::shared_ptr<UsbDevice::Shared> device,
                     std::function<void()> ended)
    : m_socket(socket)
    , m_wake(::eventfd(0, EFD_CLOEXEC))
    , m_device(std::move(device))
    , m_ended(std::move(ended))
    , m_thread([this] { run(); })
{
}

UrbServer::~UrbServer()
{
    stop();
    ::close(m_socket);
    ::close(m_wake);
}

void UrbServer::stop()
{
    m_stopping = true;
    wake();
    if (m_thread.joinable())
        m_thread.join();
}

void UrbServer::retry(quint8 endpoint)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_again.insert(endpoint);
    }
    wake();
}

void UrbServer::wake() const
{
    const quint64 once = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wake, &once, sizeof(once));
}

// This and all functions below run on the server's thread.
void UrbServer::run()
{
    while (serveOnce()) {
    }
    for (const Urb& urb : m_urbs)
        note(urb, ESHUTDOWN, 0, {});
    m_urbs.clear();
    ::shutdown(m_socket, SHUT_RDWR);
    if (!m_stopping)
        m_ended();
}

// Returns false when the server is to end.
bool UrbServer::serveOnce()
{
    const bool readable = awaitWork();
    if (m_stopping || (readable && !receive()))
        return false;
    askAgain();
    deliverDue();
    return !m_pulled;
}

// Waits for a message of the kernel, a call of another thread, or the time of a delayed answer.
// Returns whether there is a message.
bool UrbServer::awaitWork() const
{
    pollfd sources[] = {{m_socket, POLLIN, 0}, {m_wake, POLLIN, 0}};
    ::poll(sources, 2, millisecondsToNext());
    if ((sources[1].revents & POLLIN) != 0) {
        quint64 count = 0;
        [[maybe_unused]] const ssize_t taken = ::read(m_wake, &count, sizeof(count));
    }
    return sources[0].revents != 0;
}

int UrbServer::millisecondsToNext() const
{
    const auto now = Clock::now();
    int next = -1;
    for (const Urb& urb : m_urbs) {
        if (!urb.answer)
            continue;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(urb.due - now).count();
        const int wait = static_cast<int>(std::max<qint64>(left, 0));
        next = next < 0 ? wait : std::min(next, wait);
    }
    return next;
}

// Returns false when the kernel has closed its end, or does not follow the protocol.
bool UrbServer::receive()
{
    const std::optional<QByteArray> header = receiveBytes(urbHeaderBytes);
    const std::optional<UrbCommand> command = header ? readUrbCommand(*header) : std::nullopt;
    if (!command)
        return false;
    const std::optional<QByteArray> data = receiveBytes(command->dataBytes());
    if (!data)
        return false;
    if (command->kind == UrbCommand::Submit)
        submit(*command, *data);
    else
        unlink(*command);
    return true;
}

std::optional<QByteArray> UrbServer::receiveBytes(int count) const
{
    QByteArray bytes(count, '\0');
    int got = 0;
    while (got < count) {
        const ssize_t part = ::recv(m_socket, bytes.data() + got,
                                    static_cast<std::size_t>(count - got), MSG_WAITALL);
        if (part <= 0 && !(part < 0 && errno == EINTR))
            return std::nullopt;
        got += static_cast<int>(std::max<ssize_t>(part, 0));
    }
    return bytes;
}

// A kernel that has gone away is noticed at the next read.
void UrbServer::send(const QByteArray& message) const
{
    int sent = 0;
    while (sent < message.size()) {
        const ssize_t part = ::send(m_socket, message.constData() + sent,
                                    static_cast<std::size_t>(message.size() - sent), MSG_NOSIGNAL);
        if (part < 0 && errno != EINTR)
            return;
        sent += static_cast<int>(std::max<ssize_t>(part, 0));
    }
}

void UrbServer::submit(const UrbCommand& command, const QByteArray& data)
{
    const std::optional<UsbRequest> request = transferOf(command, data, m_device->description);
    if (!request) {
        send(submitReply(command.number, -EPIPE, 0));
        return;
    }
    Urb urb;
    urb.number = command.number;
    urb.request = *request;
    if (!standardAnswer(m_device->description, *request)) {
        UsbEvent event;
        event.kind = UsbEvent::Transfer;
        event.request = *request;
        event.error = UsbEvent::Pending;
        urb.event = m_device->record(std::move(event));
    }
    const int queue = urb.queue();
    m_urbs.push_back(std::move(urb));
    advance(queue);
}

void UrbServer::unlink(const UrbCommand& command)
{
    const auto found = std::find_if(m_urbs.begin(), m_urbs.end(), [&command](const Urb& urb) {
        return urb.number == command.unlinked;
    });
    if (found == m_urbs.end()) {
        send(unlinkReply(command.number, 0));
        return;
    }
    note(*found, ENOENT, 0, {});
    const int queue = found->queue();
    m_urbs.erase(found);
    send(unlinkReply(command.number, -ECONNRESET));
    advance(queue);
}

// Asks the device for the oldest transfers of a queue, up to one that has to wait.
void UrbServer::advance(int queue)
{
    while (!m_pulled) {
        const auto urb = std::find_if(m_urbs.begin(), m_urbs.end(),
                                      [queue](const Urb& entry) { return entry.queue() == queue; });
        if (urb == m_urbs.end() || urb->answer)
            return;
        const UsbAnswer answer = m_device->ask(urb->request);
        if (answer.kind == UsbAnswer::Never)
            return;
        urb->answer = answer;
        urb->due = Clock::now() + std::chrono::milliseconds(answer.delay);
        if (answer.delay > 0)
            return;
        deliver(urb);
    }
}

void UrbServer::askAgain()
{
    std::set<int> queues;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        queues.swap(m_again);
    }
    for (const int queue : queues)
        advance(queue);
}

void UrbServer::deliverDue()
{
    const auto isDue = [](const Urb& urb) { return urb.answer && urb.due <= Clock::now(); };
    auto urb = std::find_if(m_urbs.begin(), m_urbs.end(), isDue);
    while (urb != m_urbs.end() && !m_pulled) {
        const int queue = urb->queue();
        deliver(urb);
        advance(queue);
        urb = std::find_if(m_urbs.begin(), m_urbs.end(), isDue);
    }
}

// Ends a transfer with the answer that it has.
void UrbServer::deliver(std::list<Urb>::iterator urb)
{
    const UsbAnswer& answer = *urb->answer;
    const int length = urb->request.length;
    if (answer.kind == UsbAnswer::Unplug) {
        m_pulled = true;
        return;
    }
    if (answer.kind == UsbAnswer::Fail) {
        finish(*urb, -answer.error, 0);
    } else if (!urb->request.isIn()) {
        finish(*urb, 0, answer.accepted < 0 ? length : std::min(answer.accepted, length));
    } else {
        const QByteArray bytes = answer.bytes.left(length);
        const int status = answer.bytes.size() > bytes.size() ? -EOVERFLOW : 0;
        finish(*urb, status, static_cast<int>(bytes.size()), bytes);
    }
    m_urbs.erase(urb);
}

void UrbServer::finish(const Urb& urb, int status, int actual, const QByteArray& bytes)
{
    note(urb, -status, actual, bytes);
    send(submitReply(urb.number, status, actual, bytes));
}

void UrbServer::note(const Urb& urb, int error, int actual, const QByteArray& received) const
{
    if (!urb.event)
        return;
    const std::lock_guard<std::mutex> lock(m_device->logMutex);
    urb.event->error = error;
    urb.event->actual = actual;
    urb.event->received = received;
}

} // namespace virtual_desk
