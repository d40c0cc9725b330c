// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/session_state.h"

#include "sign/libusb_writing_device.h"
#include "sign/pen_reader_thread.h"

#include <QCoreApplication>

CGlobalObject::CGlobalObject()
    : handWritingDev(new QHandWritingDevForLibUsb)
    , readThread(new QGetHandWrtingDevData)
{
}

CGlobalObject* g_globalObj = new CGlobalObject();
struct_GLOBALSSIGNDATA g_SignData;

void releasePad()
{
    g_globalObj->readThread->stopReading();
    if (auto* pad = dynamic_cast<QHandWritingDevForLibUsb*>(g_globalObj->handWritingDev))
        pad->giveBack();
}

namespace {

// The reader thread uses static data of Qt and libusb and must have ended before the process
// destroys them.
const bool padIsReleasedAtTheEnd = [] {
    qAddPostRoutine(releasePad);
    return true;
}();

} // namespace
