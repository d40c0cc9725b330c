// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/urb_messages.h"

#include <QtEndian>

namespace virtual_desk {
namespace {

const quint32 submitEnded = 3;
const quint32 unlinkEnded = 4;
const quint32 in = 1;
const int mostBytes = 1 << 20;

// Where the fields of a header are. All but the setup bytes are 32 bits, big-endian.
enum Offset {
    KindAt = 0,
    NumberAt = 4,
    DirectionAt = 12,
    EndpointAt = 16,
    UnlinkedAt = 20,
    LengthAt = 24,
    SetupAt = 40,
    StatusAt = 20,
    ActualAt = 24
};

quint32 fieldAt(const QByteArray& header, Offset offset)
{
    return qFromBigEndian<quint32>(header.constData() + offset);
}

void setField(QByteArray& header, Offset offset, quint32 value)
{
    qToBigEndian(value, header.data() + offset);
}

UsbSetup setupOf(const QByteArray& header)
{
    const char* bytes = header.constData() + SetupAt;
    return {static_cast<quint8>(bytes[0]), static_cast<quint8>(bytes[1]),
            qFromLittleEndian<quint16>(bytes + 2), qFromLittleEndian<quint16>(bytes + 4),
            qFromLittleEndian<quint16>(bytes + 6)};
}

std::optional<UsbEndpoint::Type> endpointType(const UsbDescription& description, quint8 address)
{
    for (const UsbInterface& interface : description.interfaces)
        for (const UsbEndpoint& endpoint : interface.endpoints)
            if (endpoint.address == address)
                return endpoint.type;
    return std::nullopt;
}

QByteArray reply(quint32 kind, quint32 number, int status)
{
    QByteArray header(urbHeaderBytes, '\0');
    setField(header, KindAt, kind);
    setField(header, NumberAt, number);
    setField(header, StatusAt, static_cast<quint32>(status));
    return header;
}

} // namespace

std::optional<UrbCommand> readUrbCommand(const QByteArray& header)
{
    const quint32 kind = fieldAt(header, KindAt);
    if (kind != UrbCommand::Submit && kind != UrbCommand::Unlink)
        return std::nullopt;
    UrbCommand command;
    command.kind = static_cast<UrbCommand::Kind>(kind);
    command.number = fieldAt(header, NumberAt);
    command.in = fieldAt(header, DirectionAt) == in;
    command.endpoint = fieldAt(header, EndpointAt) & 0x0F;
    if (command.kind == UrbCommand::Unlink) {
        command.unlinked = fieldAt(header, UnlinkedAt);
        return command;
    }
    command.length = static_cast<int>(fieldAt(header, LengthAt));
    command.setup = setupOf(header);
    if (command.length < 0 || command.length > mostBytes)
        return std::nullopt;
    return command;
}

std::optional<UsbRequest> transferOf(const UrbCommand& command, const QByteArray& data,
                                     const UsbDescription& description)
{
    UsbRequest request;
    request.endpoint = command.endpoint | (command.in ? 0x80 : 0);
    request.length = command.length;
    request.data = data;
    if (command.endpoint == 0) {
        request.setup = command.setup;
        request.endpoint = command.setup.requestType & 0x80;
        return request;
    }
    const std::optional<UsbEndpoint::Type> type = endpointType(description, request.endpoint);
    if (!type)
        return std::nullopt;
    request.kind = *type == UsbEndpoint::Bulk ? UsbRequest::Bulk : UsbRequest::Interrupt;
    return request;
}

QByteArray submitReply(quint32 number, int status, int actual, const QByteArray& bytes)
{
    QByteArray header = reply(submitEnded, number, status);
    setField(header, ActualAt, static_cast<quint32>(actual));
    return header + bytes;
}

QByteArray unlinkReply(quint32 number, int status)
{
    return reply(unlinkEnded, number, status);
}

} // namespace virtual_desk
