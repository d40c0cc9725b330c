// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/sim/sim_card.h"

#include <QtEndian>

#include <winscard.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace virtual_desk {

namespace {

constexpr std::chrono::seconds daemonTimeout{5};

// The daemon polls its slots for a card every 0.4 s.
constexpr std::chrono::milliseconds noticeTime{500};
constexpr std::chrono::milliseconds pollTime{5};

// Messages of one byte are the reader's control codes. Only the last code is answered.
constexpr quint8 powerOffCode = 0x00;
constexpr quint8 powerOnCode = 0x01;
constexpr quint8 resetCode = 0x02;
constexpr quint8 answerToResetCode = 0x04;

void setOption(int socket, int option)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, option, &on, sizeof on);
}

int connectToSlot(quint16 port)
{
    const int slot = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(slot, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(slot);
        return -1;
    }
    setOption(slot, TCP_NODELAY);
    return slot;
}

bool receive(int socket, void* target, std::size_t size)
{
    // Set before each receive, because the kernel resets it: without quick acknowledgements every
    // exchange waits 40 ms.
    setOption(socket, TCP_QUICKACK);
    return recv(socket, target, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// A message is a length (two bytes, big-endian) and that many bytes.
bool receiveMessage(int socket, QByteArray& message)
{
    quint16 length = 0;
    if (!receive(socket, &length, sizeof length))
        return false;
    message.resize(qFromBigEndian(length));
    return message.isEmpty() ||
           receive(socket, message.data(), static_cast<std::size_t>(message.size()));
}

void sendMessage(int socket, const QByteArray& message)
{
    const quint16 length = qToBigEndian(static_cast<quint16>(message.size()));
    const QByteArray bytes =
        QByteArray(reinterpret_cast<const char*>(&length), sizeof length) + message;
    send(socket, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL);
}

// Whether the daemon reports a card in the slot to its clients, which it does some time after it
// has powered the card.
bool daemonShowsCard(quint16 port)
{
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS)
        return false;
    const QByteArray reader = QByteArray(PcscDaemon::ReaderName) + " 00 0" +
                              QByteArray::number(port - PcscDaemon::SlotPort);
    SCARD_READERSTATE state{};
    state.szReader = reader.constData();
    const LONG code = SCardGetStatusChange(context, 0, &state, 1);
    SCardReleaseContext(context);
    return code == SCARD_S_SUCCESS && (state.dwEventState & SCARD_STATE_PRESENT) != 0 &&
           state.cbAtr > 0;
}

// \return false when the daemon did not report that state of the slot in time
bool awaitDaemon(quint16 port, bool withCard)
{
    const auto deadline = std::chrono::steady_clock::now() + daemonTimeout;
    while (daemonShowsCard(port) != withCard) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(pollTime);
    }
    return true;
}

} // namespace

VirtualSimCard::VirtualSimCard(quint16 port)
    : m_port(port)
{
    setIccid(QByteArray::fromHex("98681031547698103204"));
}

VirtualSimCard::~VirtualSimCard()
{
    pull();
}

void VirtualSimCard::setIccid(const QByteArray& bytes)
{
    const std::lock_guard lock(m_mutex);
    m_files.setIccid(bytes);
}

void VirtualSimCard::setBehaviour(const QByteArray& commandStart, const Behaviour& behaviour)
{
    const std::lock_guard lock(m_mutex);
    m_behaviours[commandStart] = behaviour;
}

bool VirtualSimCard::insert()
{
    pull();
    std::this_thread::sleep_until(m_pulledAt + noticeTime);
    m_socket = connectToSlot(m_port);
    if (m_socket < 0)
        return false;
    std::unique_lock lock(m_mutex);
    const int before = m_powerOns;
    m_pulling = false;
    m_thread = std::thread(&VirtualSimCard::serve, this);
    if (!m_changed.wait_for(lock, daemonTimeout, [&] { return m_powerOns > before; }))
        return false;
    lock.unlock();
    return awaitDaemon(m_port, true);
}

void VirtualSimCard::pull()
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_pulling = true;
    }
    m_changed.notify_all();
    shutdown(m_socket, SHUT_RDWR);
    m_thread.join();
    close(m_socket);
    m_socket = -1;
    m_pulledAt = std::chrono::steady_clock::now();
    setPowered(false);
}

void VirtualSimCard::awaitRemoval() const
{
    awaitDaemon(m_port, false);
}

bool VirtualSimCard::isPowered() const
{
    const std::lock_guard lock(m_mutex);
    return m_powered;
}

int VirtualSimCard::powerOns() const
{
    const std::lock_guard lock(m_mutex);
    return m_powerOns;
}

QList<QByteArray> VirtualSimCard::commands() const
{
    const std::lock_guard lock(m_mutex);
    return m_commands;
}

QByteArray VirtualSimCard::answerToReset()
{
    return QByteArray::fromHex("3B9F96801FC78031E073FE211B63E206C283009000");
}

void VirtualSimCard::setAnswerToReset(const QByteArray& answer)
{
    m_answerToReset = answer;
}

void VirtualSimCard::serve()
{
    QByteArray message;
    while (receiveMessage(m_socket, message))
        if (message.size() == 1)
            control(static_cast<quint8>(message.at(0)));
        else
            serveCommand(message);
}

void VirtualSimCard::control(quint8 code)
{
    switch (code) {
    case powerOffCode:
        setPowered(false);
        break;
    case powerOnCode:
    case resetCode:
        setPowered(true);
        break;
    case answerToResetCode:
        sendMessage(m_socket, m_answerToReset);
        break;
    default:
        break;
    }
}

void VirtualSimCard::serveCommand(const QByteArray& command)
{
    std::unique_lock lock(m_mutex);
    m_commands << command;
    m_changed.notify_all();
    const Behaviour chosen = behaviour(command);
    m_changed.wait_for(lock, std::chrono::milliseconds(chosen.delayMs),
                       [this] { return m_pulling; });
    if (chosen.kind == Behaviour::Kind::pulled)
        shutdown(m_socket, SHUT_RDWR);
    else
        sendMessage(m_socket, response(command, chosen));
}

QByteArray VirtualSimCard::response(const QByteArray& command, const Behaviour& behaviour)
{
    return behaviour.kind == Behaviour::Kind::bytes ? behaviour.bytes : m_files.process(command);
}

VirtualSimCard::Behaviour VirtualSimCard::behaviour(const QByteArray& command) const
{
    for (auto entry = m_behaviours.cbegin(); entry != m_behaviours.cend(); ++entry)
        if (command.startsWith(entry.key()))
            return entry.value();
    return {};
}

void VirtualSimCard::setPowered(bool powered)
{
    {
        const std::lock_guard lock(m_mutex);
        m_powered = powered;
        m_powerOns += powered ? 1 : 0;
        m_files.reset();
    }
    m_changed.notify_all();
}

} // namespace virtual_desk
