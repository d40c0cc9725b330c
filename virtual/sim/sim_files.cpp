// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/sim/sim_files.h"

namespace virtual_desk {

namespace {

constexpr int headerSize = 5;

// Instructions of class A0.
constexpr quint8 simClass = 0xA0;
constexpr quint8 selectInstruction = 0xA4;
constexpr quint8 readBinaryInstruction = 0xB0;
constexpr quint8 getResponseInstruction = 0xC0;

quint8 byteAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index));
}

QByteArray status(int word)
{
    QByteArray bytes;
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
    return bytes;
}

const int success = 0x9000;
const int responseWaits = 0x9F00;
const int noFileSelected = 0x9400;
const int fileNotFound = 0x9404;
const int wrongLength = 0x6700;
const int wrongParameters = 0x6B00;
const int unknownInstruction = 0x6D00;
const int wrongClass = 0x6E00;

// GET RESPONSE after SELECT of a directory: free memory, identifier, type (01 master file), 5 bytes
// reserved, 10 bytes of characteristics (clock stop, 0 directories, 1 file, 4 secret codes and
// their state).
const char masterFileResponse[] = "0000020C3F00010000000000"
                                  "0A1300010400838A838A00";

// GET RESPONSE after SELECT of a transparent file: size 10, identifier, type (04 elementary file),
// access conditions (read always, update never), valid, structure transparent.
const char iccidFileResponse[] = "0000000A2FE204000FFFFF01020000";

} // namespace

void SimFiles::reset()
{
    m_iccidSelected = false;
    m_pending.clear();
}

QByteArray SimFiles::process(const QByteArray& command)
{
    const QByteArray pending = m_pending;
    m_pending.clear();
    if (command.size() < headerSize)
        return status(wrongLength);
    if (byteAt(command, 0) != simClass)
        return status(wrongClass);
    const quint8 length = byteAt(command, 4);
    const int parameters = byteAt(command, 2) << 8 | byteAt(command, 3);
    switch (byteAt(command, 1)) {
    case selectInstruction:
        if (parameters != 0)
            return status(wrongParameters);
        return select(length == 2 ? command.mid(headerSize) : QByteArray());
    case getResponseInstruction:
        m_pending = pending;
        return getResponse(length);
    case readBinaryInstruction:
        return readBinary(parameters, length);
    default:
        return status(unknownInstruction);
    }
}

QByteArray SimFiles::select(const QByteArray& fileIdentifier)
{
    if (fileIdentifier.size() != 2)
        return status(wrongLength);
    if (fileIdentifier == QByteArray::fromHex("3F00")) {
        m_iccidSelected = false;
        m_pending = QByteArray::fromHex(masterFileResponse);
    } else if (fileIdentifier == QByteArray::fromHex("2FE2")) {
        m_iccidSelected = true;
        m_pending = QByteArray::fromHex(iccidFileResponse);
    } else {
        return status(fileNotFound);
    }
    return status(responseWaits | static_cast<int>(m_pending.size()));
}

QByteArray SimFiles::getResponse(quint8 length)
{
    if (m_pending.isEmpty())
        return status(unknownInstruction);
    if (length == 0 || length > m_pending.size())
        return status(wrongLength | static_cast<int>(m_pending.size()));
    const QByteArray response = m_pending.left(length) + status(success);
    m_pending.clear();
    return response;
}

QByteArray SimFiles::readBinary(int offset, quint8 length) const
{
    if (!m_iccidSelected)
        return status(noFileSelected);
    if (offset >= m_iccid.size())
        return status(wrongParameters);
    const int available = static_cast<int>(m_iccid.size()) - offset;
    if (length == 0 || length > available)
        return status(wrongLength | available);
    return m_iccid.mid(offset, length) + status(success);
}

} // namespace virtual_desk
