// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/restrictions.h"

#include <QObject>
#include <QString>
#include <QTimer>

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
    explicit CTextMessageProcessor(QObject* parent = nullptr,
                                   const Restrictions& restrictions = {});

    /// Whether \p function is the name of a command, served or not.
    static bool isCommand(const QString& function) { return findCommand(function) != nullptr; }

    /// Dispatches one request. Single quotes count as double quotes throughout the text; a request
    /// that names no command, or one that is not served, is sent back.
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
    bool isServed(const QString& function, const QString& act) const;
    void dispatch(QWebSocket* client, const QString& request);
    static void send(QWebSocket* client, const QString& reply);
    static void sendBack(QWebSocket* client, const QString& request);

    /// Refuses a command that must not be executed during a signing session.
    /// \return true when a session is open and the refusal was sent
    bool CheckSigning(const QString& functionName, QWebSocket* client) const;

    void signatureUsed(const QByteArray& image);

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
    const Restrictions m_restrictions;
    QTimer m_forgetSignature; ///< with privacy on: started by each use of a signature
};
