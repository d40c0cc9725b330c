// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

namespace virtual_desk {

/// \brief The file system of a SIM card and the commands of class A0 that read it.
///
/// Holds the master file 3F00 and in it the elementary file 2FE2 (the ICCID). As on a card with the
/// T=0 protocol, a SELECT answers 9Fxx only, and GET RESPONSE fetches the xx bytes. Status words
/// are those of GSM 11.11.
class SimFiles
{
public:
    /// \param iccid the 10 bytes of the file, digits with swapped nibbles.
    void setIccid(const QByteArray& iccid) { m_iccid = iccid; }

    /// Resets the card: the master file becomes the current file.
    void reset();

    /// \param command as the reader sends it.
    /// \return the card's response with its status word.
    QByteArray process(const QByteArray& command);

private:
    QByteArray select(const QByteArray& fileIdentifier);
    QByteArray getResponse(quint8 length);
    QByteArray readBinary(int offset, quint8 length) const;

    QByteArray m_iccid;
    bool m_iccidSelected = false;
    QByteArray m_pending;
};

} // namespace virtual_desk
