// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/demo/demo_desk.h"

#include "virtual/identity_card.h"
#include "virtual/photo_encoder.h"
#include "virtual/portrait.h"

using namespace virtual_desk;

namespace {

QByteArray cardWithPhoto(CardType type, int holder)
{
    IdentityCard card = sampleCard(type);
    card.photo = encodePhoto(drawPortrait(holder));
    return cardData(card);
}

} // namespace

DemoDesk::DemoDesk()
    : m_pad(m_testbed)
    , m_usbReader(m_testbed, IdentityReaderUsb::Module0503)
    , m_hidReader(m_testbed)
    , m_documentCamera(m_testbed, {})
    , m_portraitCamera(m_testbed, portraitCamera())
{
}

QString DemoDesk::setUp()
{
    m_pad.device().plug();
    m_usbReader.plug();
    m_usbReader.putCard(cardWithPhoto(CardType::Resident, 0));
    m_hidReader.plug();
    m_hidReader.putCard(cardWithPhoto(CardType::PermanentResidence, 1));
    m_documentCamera.plugIn();
    m_portraitCamera.plugIn();
    if (!m_pcscDaemon.start())
        return QStringLiteral("The PC/SC daemon did not start:\n") + m_pcscDaemon.log();
    if (!m_sim.insert())
        return QStringLiteral("The PC/SC daemon did not take the SIM:\n") + m_pcscDaemon.log();
    return {};
}
