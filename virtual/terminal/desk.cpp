// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/desk.h"

#include "virtual/cards/photo_encoder.h"
#include "virtual/cards/portrait.h"

namespace virtual_desk {
namespace {

IdentityCard invented(CardType type, int holder)
{
    IdentityCard card = sampleCard(type);
    card.photo = encodePhoto(drawPortrait(holder));
    return card;
}

} // namespace

Desk::Desk(const QString& hostController)
    : m_kernel(hostController)
    , m_pad(m_kernel)
    , m_usbReader(m_kernel)
    , m_hidReader(m_kernel)
    , m_simReader(hostController.isEmpty())
    , m_documentCamera(m_kernel, {})
    , m_portraitCamera(m_kernel, portraitCamera())
{
}

QString Desk::furnish()
{
    const QString simReader = QStringLiteral("simReader");
    for (const QString& name : deviceNames()) {
        if (name == simReader && !isEmulated())
            continue;
        QString fault = device(name).plug();
        if (!fault.isEmpty())
            return fault;
    }
    m_usbReader.putCard(invented(CardType::Resident, 0));
    m_hidReader.putCard(invented(CardType::PermanentResidence, 1));
    return isEmulated() ? m_simReader.insertSim(QStringLiteral("89860113456789012340")) : QString();
}

const QStringList& Desk::deviceNames()
{
    static const QStringList names = {QStringLiteral("pad"),
                                      QStringLiteral("usbReader"),
                                      QStringLiteral("hidReader"),
                                      QStringLiteral("simReader"),
                                      QStringLiteral("documentCamera"),
                                      QStringLiteral("portraitCamera")};
    return names;
}

DeskDevice& Desk::device(const QString& name)
{
    DeskDevice* const devices[] = {&m_pad,       &m_usbReader,      &m_hidReader,
                                   &m_simReader, &m_documentCamera, &m_portraitCamera};
    return *devices[deviceNames().indexOf(name)];
}

CameraDevice& Desk::camera(const QString& name)
{
    return name == QLatin1String("portraitCamera") ? m_portraitCamera : m_documentCamera;
}

QStringList Desk::takeLog(const QString& name, bool forget)
{
    const auto take = [forget](auto& log) {
        QStringList lines = log.log();
        if (forget)
            log.clearLog();
        return lines;
    };
    if (name == QLatin1String("pad"))
        return take(m_pad.usb());
    return name == QLatin1String("usbReader") ? take(m_usbReader) : take(m_hidReader);
}

QJsonObject Desk::state()
{
    QJsonObject state;
    for (const QString& name : deviceNames())
        state.insert(name, device(name).state());
    return state;
}

} // namespace virtual_desk
