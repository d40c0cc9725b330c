// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/sam_number.h"

#include "idcard/usb_reader.h"

#include <QDebug>

#include <array>

namespace {

SamNumber failure(const QString& message)
{
    return {false, message, {}};
}

} // namespace

SamNumber querySamNumber()
{
    using namespace UsbReader;
    Session session;
    if (!session.initialise())
        return failure(QStringLiteral("init USB failed"));
    if (!session.open())
        return failure(QStringLiteral("libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed"));
    if (!session.claim())
        return failure(QStringLiteral("interface USB failed"));
    if (!writeFrame0503(session.handle(), getSamNumber, shortTimeout))
        return failure(QStringLiteral("libusb_bulk_transfer write failed"));
    Reply reply;
    if (!readReply0503(session.handle(), reply))
        return failure(QStringLiteral("libusb_bulk_transfer read failed"));

    std::array<char, samTextBytes> text{};
    if (reply.hasStatus(statusOffset0503, statusDone)) {
        formatSamNumber(reply.bytes.data() + dataOffset0503, text.data());
        qWarning("%s", text.data());
    }
    session.end();
    qWarning("close libusb");
    return {true, QStringLiteral("获取SAM码成功"), QString::fromLatin1(text.data())};
}
