// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/desk_client.h"
#include "tests/support/window_operator.h"
#include "virtual/demo/demo_desk.h"
#include "virtual/demo/frame_log.h"

#include <QDir>
#include <QJsonObject>
#include <QStringList>
#include <QVector>

/// \brief One page's session with every device of a desk, played by a script.
///
/// The signer's pen is the virtual pad's; the camera's operator uses the pointer of the X display.
class DemoSession
{
public:
    /// What one device gave.
    struct Result
    {
        QString title;
        bool succeeded = false;
        QString summary;   ///< one line
        QStringList files; ///< pictures, by name within the folder
    };

    /// \param folder where pictures and the log of frames go
    /// \param workingDirectory the service's, where it leaves the card faces
    DemoSession(DemoDesk& desk, const QDir& folder, const QDir& workingDirectory);

    /// Plays the whole session against the service on its port.
    QVector<Result> play();

private:
    QJsonObject ask(const QString& function, const QJsonObject& keys = {});
    QJsonObject receive();
    void send(const QString& function, const QJsonObject& keys = {});

    Result readSim();
    Result sign();
    Result readUsbCard();
    Result readHidCard();
    Result takePicture();
    Result cardResult(const QString& title, const QString& photoName, const QJsonObject& reply);
    bool keep(const QString& name, const QString& base64) const;
    void keepWindow(const WindowOperator& window, const QString& name) const;

    DemoDesk& m_desk;
    QDir m_folder;
    QDir m_workingDirectory;
    FrameLog m_log;
    DeskClient m_client;
};
