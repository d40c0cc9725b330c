// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The log's categories: the reason of a failure that pages see as one code; silent by default.

#include "tests/support/table.h"
#include "virtual/camera/camera.h"
#include "virtual/pad/signature_pad.h"
#include "virtual/readers/identity_reader_usb.h"
#include "virtual/support/desk_client.h"

#include <QDirIterator>

#include <linux/capability.h>
#include <sys/prctl.h>

using namespace virtual_desk;

class DiagnosisTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Without this capability file permissions refuse root, too; the service inherits that.
        QCOMPARE(prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0), 0);
    }

    void tellsWhyADeviceFails_data()
    {
        // clang-format off
        addRows<QString, QString, QByteArray>({
            {"pad, unplugged", "unplugged", "ZCStartDeviceAB", "pad: open 05af:0060: not plugged in"},
            {"pad, forbidden", "forbidden", "ZCDeviceExist", "pad: open 05af:0060: LIBUSB_ERROR_ACCESS"},
            {"pad, in use", "held", "ZCStartDeviceAB", "pad: claim interface 0: LIBUSB_ERROR_BUSY"},
            {"reader, stalled", "stalled", "ZCGetSAMNum", "idcard: endpoint 01: LIBUSB_ERROR_PIPE"},
            {"no PC/SC daemon", "unplugged", "ZCSIMCard", "sim: OpenCardReader: 8010001D"},
            {"camera, none", "unplugged", "ZCCameraPic", "camera: open /dev/video0: No such file or directory"},
            {"camera, in use", "held", "ZCCameraPic", "camera: buffers of /dev/video0: Device or resource busy"},
        });
        // clang-format on
    }

    void tellsWhyADeviceFails()
    {
        const auto [state, command, line] = row<QString, QString, QByteArray>();
        VirtualKernel kernel;
        SignaturePad pad(kernel);
        IdentityReaderUsb reader(kernel, IdentityReaderUsb::Module0503);
        Camera camera(kernel, {});
        pad.device().setInterfaceHeldElsewhere(state == "held");
        reader.setHeldElsewhere(state == "held");
        camera.setBusy(state == "held");
        if (state == "stalled")
            reader.replaceTransfersFrom(0, UsbAnswer::stall());
        if (state != "unplugged") {
            pad.device().plug();
            reader.plug();
            camera.plugIn();
        }
        QDirIterator nodes(kernel.rootDirectory() + "/dev/bus/usb/001",
                           QDir::AllEntries | QDir::System);
        while (state == "forbidden" && nodes.hasNext())
            QFile::setPermissions(nodes.next(), QFile::Permissions());

        for (const char* rule : {"", "desk.*=true"}) {
            QProcessEnvironment rules;
            rules.insert("QT_LOGGING_RULES", rule);
            ServiceProcess service;
            QVERIFY(service.start(rules));
            DeskClient page;
            QVERIFY(page.open());
            page.ask(command);
            const bool isOn = *rule != '\0';
            QVERIFY2(!isOn || service.waitForError("desk." + line + '\n'),
                     service.standardError().constData());
            QVERIFY2(isOn || !service.standardError().contains("desk."),
                     service.standardError().constData());
        }
    }
};

QTEST_GUILESS_MAIN(DiagnosisTest)
#include "diagnosis_test.moc"
