// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// What unmodified libusb sees of a virtual device, beyond what the tests of the product's drivers
// show.

#include "tests/support/patience.h"
#include "virtual/kernel/usb_device.h"

#include <QtTest>

#include <libusb.h>

#include <future>

using namespace virtual_desk;

namespace {

constexpr int endpointIn = 0x85;
constexpr int endpointOut = 0x02;

const UsbDescription description{
    0x1234,
    0x5678,
    {{0,
      0x03,
      {{endpointOut, UsbEndpoint::Bulk, 64, 0}, {endpointIn, UsbEndpoint::Bulk, 64, 0}},
      ""}}};

struct ControlQuestion
{
    quint8 type;
    quint8 request;
    quint16 value;
    quint16 index;
};

/// What a device answers in the data stage, or libusb's error number.
QByteArray ask(libusb_device_handle* handle, const ControlQuestion& question, int length = 255)
{
    QByteArray bytes(length, '\0');
    const int moved = libusb_control_transfer(
        handle, question.type, question.request, question.value, question.index,
        reinterpret_cast<unsigned char*>(bytes.data()), static_cast<quint16>(length), 1000);
    return moved < 0 ? QByteArray::number(moved) : bytes.left(moved).toHex();
}

} // namespace

class UsbDeviceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pullingThePlugEndsAnOpenTransferAndAReplugNeedsANewOpen()
    {
        VirtualKernel kernel;
        UsbDevice device(kernel, description, [](const UsbRequest& request) {
            return request.isIn() ? UsbAnswer::never() : UsbAnswer::accept(3);
        });
        unsigned char bytes[64] = {};
        int count = 0;
        const auto transfer = [&](libusb_device_handle* handle, unsigned char endpoint) {
            return libusb_bulk_transfer(handle, endpoint, bytes, 64, &count, 60000);
        };
        for (int plug = 0; plug < 256; ++plug) { // more often than one bus has addresses
            device.plug();
            device.unplug();
        }
        // Not before: a slow program's event socket would overflow, which umockdev does not
        // survive.
        libusb_context* context = nullptr;
        QCOMPARE(libusb_init(&context), 0);
        for (int i = 0; i < 2; ++i) {
            device.plug();
            libusb_device_handle* handle = libusb_open_device_with_vid_pid(context, 0x1234, 0x5678);
            QCOMPARE(libusb_claim_interface(handle, 0), 0);
            QCOMPARE(transfer(handle, endpointOut), 0);
            QCOMPARE(count, 3);
            device.clearLog();
            auto reading =
                std::async(std::launch::async, [&] { return transfer(handle, endpointIn); });
            AWAIT_EQUAL(device.log(), QStringList("in 85: pending"));
            device.unplug();
            QCOMPARE(reading.get(), int(LIBUSB_ERROR_NO_DEVICE));
            device.plug();
            QCOMPARE(transfer(handle, endpointOut), int(LIBUSB_ERROR_NO_DEVICE));
            libusb_close(handle);
            device.unplug();
        }
        libusb_exit(context);
    }

    void aHidDeviceDescribesItselfWithoutItsHandler()
    {
        VirtualKernel kernel;
        UsbDescription hid = description;
        hid.name = "Pad";
        hid.interfaces.front().reportDescriptor = QByteArray::fromHex("0602ff0901a101c0");
        int asked = 0;
        UsbDevice device(kernel, hid, [&](const UsbRequest&) {
            ++asked;
            return UsbAnswer::stall();
        });
        device.plug();
        libusb_context* context = nullptr;
        QCOMPARE(libusb_init(&context), 0);
        libusb_device_handle* handle = libusb_open_device_with_vid_pid(context, 0x1234, 0x5678);
        QVERIFY(handle);
        const QByteArray announced = "092111010001220800";
        const QByteArray device0 = "1201000200000040341278560001010200"
                                   "01";
        QCOMPARE(ask(handle, {0x80, 6, 0x0100, 0}), device0);
        QCOMPARE(ask(handle, {0x80, 6, 0x0100, 0}, 8), device0.left(16));
        const QByteArray configuration = ask(handle, {0x80, 6, 0x0200, 0});
        QCOMPARE(configuration.mid(18, 18), QByteArray("090400000203000000"));
        QCOMPARE(configuration.mid(36, 18), announced);
        QCOMPARE(configuration.mid(4, 2).toInt(nullptr, 16), configuration.size() / 2);
        QCOMPARE(ask(handle, {0x81, 6, 0x2100, 0}), announced);
        QCOMPARE(ask(handle, {0x81, 6, 0x2200, 0}), QByteArray("0602ff0901a101c0"));
        QCOMPARE(ask(handle, {0x81, 6, 0x2200, 1}), QByteArray("-9"));
        QCOMPARE(ask(handle, {0x80, 6, 0x0300, 0}), QByteArray("04030904"));
        QCOMPARE(ask(handle, {0x80, 6, 0x0302, 0x0409}), QByteArray("0803500061006400"));
        QCOMPARE(ask(handle, {0x80, 6, 0x0303, 0x0409}), QByteArray("-9"));
        QCOMPARE(ask(handle, {0x80, 6, 0x0600, 0}), QByteArray("-9"));
        QCOMPARE(ask(handle, {0x80, 0, 0, 0}, 2), QByteArray("0000"));
        QCOMPARE(ask(handle, {0x80, 8, 0, 0}, 1), QByteArray("01"));
        QCOMPARE(ask(handle, {0x00, 9, 1, 0}, 0), QByteArray());
        QCOMPARE(ask(handle, {0x01, 11, 0, 0}, 0), QByteArray());
        QCOMPARE(ask(handle, {0x02, 1, 0, 0x81}, 0), QByteArray());
        QCOMPARE(ask(handle, {0x21, 10, 0, 0}, 0), QByteArray());
        QCOMPARE(asked, 0);
        QCOMPARE(ask(handle, {0x21, 10, 0, 1}, 0), QByteArray("-9"));
        QCOMPARE(ask(handle, {0xA1, 1, 0x3000, 0}), QByteArray("-9"));
        QCOMPARE(asked, 2);
        libusb_config_descriptor* parsed = nullptr;
        QCOMPARE(libusb_get_active_config_descriptor(libusb_get_device(handle), &parsed), 0);
        const libusb_interface_descriptor& interface = parsed->interface[0].altsetting[0];
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(interface.extra), interface.extra_length)
                     .toHex(),
                 announced);
        QCOMPARE(int(interface.bNumEndpoints), 2);
        libusb_free_config_descriptor(parsed);
        libusb_close(handle);
        libusb_exit(context);
    }
};

QTEST_GUILESS_MAIN(UsbDeviceTest)
#include "usb_device_test.moc"
