// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QThread>

class EchoServer;

/// \brief Ends the service in order when it is asked to by SIGTERM, SIGINT or SIGHUP.
///
/// Windows close, and the event loops end; what `main` and the application object do after that
/// dismisses the clients and gives the pad and the HID identity-card reader back. A command that
/// waits for a device keeps the GUI thread from all this: after three seconds the process then ends
/// without it, with the clients dismissed, the same given back unless the command uses it, and exit
/// code 0. GUI thread only.
class OrderlyEnd : public QObject
{
    Q_OBJECT

public:
    /// \param port on which \p server serves its clients
    OrderlyEnd(EchoServer& server, quint16 port);
    ~OrderlyEnd() override;

private:
    void begin();

    EchoServer& m_server;
    QThread m_watch; ///< receives the signals, which the GUI thread may be too busy for
};
