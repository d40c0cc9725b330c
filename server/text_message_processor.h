// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QString>

#include <initializer_list>

class QWebSocket;
struct IDINFO;

/// \brief Turns one command request into one call of a command handler.
///
/// Each command has one handler, a member function in the file of its subsystem. A handler gets the
/// command name as the request gave it, the client's socket (may be null, then nothing is sent) and
/// the whole request text. One processor serves all clients, on the GUI thread; while a handler
/// runs a window, requests of other clients call handlers in that window's event loop.
class CTextMessageProcessor : public QObject
{
    Q_OBJECT

public:
    explicit CTextMessageProcessor(QObject* parent = nullptr);

    /// Dispatches one request. Single quotes count as double quotes throughout the text; a request
    /// that names no command is sent back.
    void Process(QWebSocket* client, QString request);

    /// \return the value of a top-level key as text; empty when the text is no JSON object, the key
    /// is missing, or its value is null, an array or an object
    static QString ParseJson(QString text, QString key);

    /// \return a compact JSON reply; "data" and "Base64" are left out when empty. The tag is that
    /// of the latest dispatched request, not of the one being answered.
    QString CreateJson(QString functionName, int success, QString msg, QString data,
                       QString base64) const;

    /// \return the compact JSON reply to a card that was read: "err_code" 0, "err_msg", and the
    /// record in "data", with the same keys for every card type; "photo" only when not empty. The
    /// tag is that of `CreateJson`; \p success is not part of it.
    QString CreateJsonIDCard(QString functionName, int success, QString msg, IDINFO* info,
                             QString photo) const;

Q_SIGNALS:
    void sEndSign(); ///< ends the open signing session without a reply to its ZCBeginSignAB
    void sResSign(); ///< clears the canvas of the open signing session

private:
    struct Command;
    static const Command* findCommand(const QString& function);
    void dispatch(QWebSocket* client, const QString& request);
    static void send(QWebSocket* client, const QString& reply);

    /// Refuses a command that must not be executed during a signing session.
    /// \return true when a session is open and the refusal was sent
    bool CheckSigning(const QString& functionName, QWebSocket* client) const;

    struct Setting;
    void storeSettings(const QString& functionName, QWebSocket* client, const QString& request,
                       std::initializer_list<Setting> settings);

    void OnZCDeviceExist(QString functionName, QWebSocket* client, QString request);
    void OnZCStartDeviceAB(QString functionName, QWebSocket* client, QString request);
    void ZCBeginSignAB(QString functionName, QWebSocket* client, QString request);
    void ZCOutputImageBase64AB(QString functionName, QWebSocket* client, QString request);
    void ZCEndSignAB(QString functionName, QWebSocket* client, QString request);
    void ZCSetTransparency(QString functionName, QWebSocket* client, QString request);
    void ZCSetPenWidth(QString functionName, QWebSocket* client, QString request);
    void ZCSetModeAB(QString functionName, QWebSocket* client, QString request);
    void ZCStopDeviceAB(QString functionName, QWebSocket* client, QString request);
    void ZCResignAB(QString functionName, QWebSocket* client, QString request);
    void ZCSetSignScreenPosSizeAB(QString functionName, QWebSocket* client, QString request);
    void ZCGetSAMNum(QString functionName, QWebSocket* client, QString request);
    void ZCReadIDCard(QString functionName, QWebSocket* client, QString request);
    void ZCReadHIDOpen(QString functionName, QWebSocket* client, QString request);
    void ZCReadHIDIDCard(QString functionName, QWebSocket* client, QString request);
    void ZCCameraPic(QString functionName, QWebSocket* client, QString request);
    void ZCSIMCard(QString functionName, QWebSocket* client, QString request);

    QString m_tflag; ///< "_tflag" of the most recently dispatched request
};
