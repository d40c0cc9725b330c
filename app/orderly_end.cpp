// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/orderly_end.h"

#include "app/termination_signals.h"
#include "idcard/hid_reader.h"
#include "server/echo_server.h"
#include "server/going_away.h"
#include "sign/session_state.h"

#include <QCoreApplication>
#include <QDebug>
#include <QTimer>

#include <cstdlib>

namespace {

// Less than the five seconds after which the package's upgrade script kills the process.
constexpr int longestEndMs = 3000;

void endWithoutTheGuiThread(quint16 port)
{
    qWarning("ended while a command waited for its device");
    sendGoingAway(port);
    releasePad();
    HidIDCard::giveBack();
    std::_Exit(EXIT_SUCCESS);
}

} // namespace

OrderlyEnd::OrderlyEnd(EchoServer& server, quint16 port)
    : m_server(server)
{
    // Both are moved to the thread m_watch and deleted when it ends.
    auto* termination = new TerminationSignals;
    auto* deadline = new QTimer;
    deadline->setSingleShot(true);
    deadline->setInterval(longestEndMs);
    for (QObject* object : {static_cast<QObject*>(termination), static_cast<QObject*>(deadline)}) {
        object->moveToThread(&m_watch);
        connect(&m_watch, &QThread::finished, object, &QObject::deleteLater);
    }
    connect(termination, &TerminationSignals::arrived, deadline, QOverload<>::of(&QTimer::start));
    connect(termination, &TerminationSignals::arrived, this, &OrderlyEnd::begin);
    connect(deadline, &QTimer::timeout, deadline, [port] { endWithoutTheGuiThread(port); });
    m_watch.start();
}

OrderlyEnd::~OrderlyEnd()
{
    m_watch.quit();
    m_watch.wait();
    HidIDCard::giveBack();
}

void OrderlyEnd::begin()
{
    m_server.endSessions();
    QCoreApplication::quit();
}
