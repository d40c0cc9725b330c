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
        const auto assigned = [&lines](const char* subsystem, const char* parents, int vendor,
                                       int product) {
            const QString device =
                QString::asprintf("ATTR%s{idVendor}==\"%04x\", ATTR%s{idProduct}==\"%04x\"",
                                  parents, vendor, parents, product);
            return lines.filter(QString("SUBSYSTEM==\"%1\"").arg(subsystem))
                .filter(device)
                .join('|');
        };
        struct
        {
            int vendor, product;
            bool isHid, staysAwake;
        } const devices[] = {{padVendor, padProduct, true, false},
                             {UsbReader::vendorId, UsbReader::productId, false, true},
                             {HidIDCard::VendorId, HidIDCard::ProductId, true, true}};
        for (const auto& one : devices) {
            const QString usb = assigned("usb", "", one.vendor, one.product);
            const QString hidraw = assigned("hidraw", "S", one.vendor, one.product);
            QVERIFY(usb.contains("TAG+=\"uaccess\"") && usb.contains("GROUP=\"desk-terminal\""));
            QCOMPARE(usb.contains("ATTR{power/control}=\"on\""), one.staysAwake);
            QCOMPARE(hidraw.contains("TAG+=\"uaccess\""), one.isHid);
        }
        QCOMPARE(lines.size(), 8);
        const QStringList opening = lines.filter("MODE=\"0660\"");
        QCOMPARE(opening.size(), 5);
        QVERIFY(
            opening.filter(QRegularExpression("power/control|LIBINPUT_IGNORE_DEVICE")).isEmpty());
    }
};

QTEST_GUILESS_MAIN(UdevRulesTest)
#include "udev_rules_test.moc"
