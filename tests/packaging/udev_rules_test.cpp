// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The rules name the devices a second time: they must be the drivers' devices, all of them.

#include "idcard/hid_reader.h"
#include "idcard/usb_reader.h"
#include "sign/pen_report.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

class UdevRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyDeviceBelongsToTheSeatAndNoOther()
    {
        QFile file(QStringLiteral(DESK_SOURCE_DIR "/packaging/70-desk-terminal.rules"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList lines = QString(file.readAll()).split('\n').filter("SUBSYSTEM==");
        const int pad[] = {padVendor, padProduct};
        const int usbReader[] = {UsbReader::vendorId, UsbReader::productId};
        const int hidReader[] = {HidIDCard::VendorId, HidIDCard::ProductId};
        for (const int* device : {pad, usbReader, hidReader}) {
            const QString id = QString::asprintf(
                R"(ATTR-{idVendor}=="%04x", ATTR-{idProduct}=="%04x")", device[0], device[1]);
            const auto usb = lines.filter(R"("usb")").filter(QString(id).remove('-')).join('|');
            const auto raw = lines.filter(R"("hidraw")").filter(QString(id).replace('-', 'S'));
            QVERIFY(usb.contains(R"(TAG+="uaccess")") && usb.contains(R"(GROUP="desk-terminal")"));
            QCOMPARE(usb.contains(R"(ATTR{power/control}="on")"), device != pad);
            QCOMPARE(raw.filter(R"(TAG+="uaccess")").size(), device == usbReader ? 0 : 1);
        }
        QCOMPARE(lines.size(), 8);
        const QStringList opening = lines.filter("MODE=\"0660\"");
        QCOMPARE(opening.size(), 5);
        QVERIFY(opening.filter(QRegularExpression("power/control|LIBINPUT")).isEmpty());
    }
};

QTEST_GUILESS_MAIN(UdevRulesTest)
#include "udev_rules_test.moc"
