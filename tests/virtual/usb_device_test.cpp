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
        libusb_context* context = nullptr;
        QCOMPARE(libusb_init(&context), 0);
        unsigned char bytes[64] = {};
        int count = 0;
        const auto transfer = [&](libusb_device_handle* handle, unsigned char endpoint) {
            return libusb_bulk_transfer(handle, endpoint, bytes, 64, &count, 60000);
        };
        for (int plug = 0; plug < 256; ++plug) { // more often than one bus has addresses
            device.plug();
            device.unplug();
        }
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
};

QTEST_GUILESS_MAIN(UsbDeviceTest)
#include "usb_device_test.moc"
