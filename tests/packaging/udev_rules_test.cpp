// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The rules name the devices a second time: they must be the drivers' devices, all of them.

#include "idcard/hid_reader.h"
#include "idcard/usb_reader.h"
#include "sign/pen_report.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

QStringList ruleLines()
{
    QFile file(QStringLiteral(DESK_SOURCE_DIR "/packaging/70-desk-terminal.rules"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n');
    return lines.filter(QStringLiteral("SUBSYSTEM=="));
}

// What the rules of a subsystem assign to a device, all in one.
QString assigned(const QString& subsystem, const QString& parents, int vendor, int product)
{
    const auto attribute = [&parents](const char* name, int value) {
        return QStringLiteral("ATTR%1{%2}==\"%3\"")
            .arg(parents, QLatin1String(name))
            .arg(value, 4, 16, QLatin1Char('0'));
    };
    QString all;
    for (const QString& line : ruleLines())
        if (line.contains(QStringLiteral("SUBSYSTEM==\"%1\"").arg(subsystem)) &&
            line.contains(attribute("idVendor", vendor)) &&
            line.contains(attribute("idProduct", product)))
            all += line;
    return all;
}

} // namespace

class UdevRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyDeviceBelongsToTheSeat_data()
    {
        QTest::addColumn<int>("vendor");
        QTest::addColumn<int>("product");
        QTest::addColumn<bool>("isHid");
        QTest::addColumn<bool>("staysAwake");
        QTest::newRow("pad") << int{padVendor} << int{padProduct} << true << false;
        QTest::newRow("USB reader")
            << int{UsbReader::vendorId} << int{UsbReader::productId} << false << true;
        QTest::newRow("HID reader")
            << int{HidIDCard::VendorId} << int{HidIDCard::ProductId} << true << true;
    }
    void everyDeviceBelongsToTheSeat()
    {
        QFETCH(int, vendor);
        QFETCH(int, product);
        QFETCH(bool, isHid);
        QFETCH(bool, staysAwake);
        const QString usb = assigned("usb", "", vendor, product);
        QVERIFY(usb.contains("TAG+=\"uaccess\"") && usb.contains("GROUP=\"desk-terminal\""));
        QCOMPARE(usb.contains("ATTR{power/control}=\"on\""), staysAwake);
        const QString hidraw = assigned("hidraw", "S", vendor, product);
        QCOMPARE(hidraw.contains("TAG+=\"uaccess\""), isHid);
    }

    void noOtherDeviceDoesAndNobodyElse()
    {
        const QStringList lines = ruleLines();
        QCOMPARE(lines.size(), 8);
        for (const QString& line : lines)
            QCOMPARE(line.contains("MODE=\"0660\""),
                     !line.contains("power/control") && !line.contains("LIBINPUT_IGNORE_DEVICE"));
    }
};

QTEST_GUILESS_MAIN(UdevRulesTest)
#include "udev_rules_test.moc"
