// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/camera.h"
#include "virtual/identity_reader_hid.h"
#include "virtual/identity_reader_usb.h"
#include "virtual/pcsc_daemon.h"
#include "virtual/signature_pad.h"
#include "virtual/sim_card.h"
#include "virtual/testbed.h"

/// \brief A complete desk with everything plugged in: the pad, both identity-card readers with a
/// card on each, a SIM in its reader, both cameras.
class DemoDesk
{
public:
    DemoDesk();

    /// Plugs the devices in and lays down the cards.
    /// \return an empty text, or what could not be set up
    QString setUp();

    virtual_desk::SignaturePad& pad() { return m_pad; }
    virtual_desk::Camera& documentCamera() { return m_documentCamera; }

private:
    virtual_desk::Testbed m_testbed;
    virtual_desk::SignaturePad m_pad;
    virtual_desk::IdentityReaderUsb m_usbReader;
    virtual_desk::IdentityReaderHid m_hidReader;
    virtual_desk::Camera m_documentCamera;
    virtual_desk::Camera m_portraitCamera;
    PcscDaemon m_pcscDaemon;
    VirtualSimCard m_sim;
};
