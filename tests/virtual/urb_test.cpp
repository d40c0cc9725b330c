// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Devices below a real kernel, with this test in the kernel's place: the folder of a host
// controller, and the other end of the socket that is handed over there.

#include "virtual/camera/uvc_camera.h"
#include "virtual/camera/uvc_description.h"
#include "virtual/kernel/usb_device.h"
#include "virtual/kernel/vhci_port.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <atomic>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

using namespace virtual_desk;

namespace {

const quint32 in = 1;
const quint32 out = 0;

struct Reply
{
    quint32 kind = 0;
    quint32 number = 0;
    int status = -999;
    int actual = 0;
    QByteArray data;
};

/// The kernel's side of the controller and of one device at it.
class Kernel
{
public:
    Kernel()
    {
        put("status", "hub port sta spd dev      sockfd local_busid\n"
                      "hs  0000 006 002 00010001 000003 1-1\n"
                      "ss  0001 004 000 00000000 000000 0-0\n"
                      "hs  0002 004 000 00000000 000000 0-0\n");
        put("attach", "");
        put("detach", "");
    }
    ~Kernel() { hangUp(); }

    QString folder() const { return m_folder.path(); }
    void put(const char* file, const QByteArray& text) const
    {
        QFile target(m_folder.filePath(QLatin1String(file)));
        QVERIFY(target.open(QIODevice::WriteOnly));
        target.write(text);
    }
    QByteArray told(const char* file) const
    {
        QFile source(m_folder.filePath(QLatin1String(file)));
        return source.open(QIODevice::ReadOnly) ? source.readAll() : QByteArray("none");
    }
    /// Takes over the socket that was written to "attach", in order: port, socket, device, speed.
    QList<QByteArray> take()
    {
        hangUp();
        const QList<QByteArray> numbers = told("attach").split(' ');
        m_socket = ::dup(numbers.value(1).toInt());
        const timeval limit{60, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        return numbers;
    }
    void hangUp()
    {
        if (m_socket >= 0) {
            ::shutdown(m_socket, SHUT_RDWR);
            ::close(m_socket);
        }
        m_socket = -1;
    }

    void submit(quint32 number, quint32 direction, quint32 endpoint, int length,
                const QByteArray& setup = {}, const QByteArray& data = {})
    {
        QByteArray header = words(
            {1, number, 0x10003, direction, endpoint, 0, static_cast<quint32>(length), 0, 0, 0});
        send(header + setup.leftJustified(8, '\0') + data);
    }
    void unlink(quint32 number, quint32 unlinked)
    {
        send(words({2, number, 0x10003, 0, 0, unlinked}).leftJustified(48, '\0'));
    }
    Reply reply(bool withData = true) const
    {
        const QByteArray header = receive(48);
        Reply reply;
        if (header.size() < 48)
            return reply;
        reply.kind = wordAt(header, 0);
        reply.number = wordAt(header, 4);
        reply.status = static_cast<int>(wordAt(header, 20));
        reply.actual = static_cast<int>(wordAt(header, 24));
        if (withData && reply.kind == 3 && reply.actual > 0)
            reply.data = receive(reply.actual);
        return reply;
    }
    bool isClosed() const { return receive(1).isEmpty(); }
    bool isSilent() const
    {
        char byte = 0;
        return ::recv(m_socket, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
    }

private:
    static QByteArray words(std::initializer_list<quint32> values)
    {
        QByteArray bytes;
        for (const quint32 value : values) {
            const quint32 big = qToBigEndian(value);
            bytes += QByteArray(reinterpret_cast<const char*>(&big), sizeof(big));
        }
        return bytes;
    }
    static quint32 wordAt(const QByteArray& bytes, int offset)
    {
        return qFromBigEndian<quint32>(bytes.constData() + offset);
    }
    void send(const QByteArray& bytes) const
    {
        QCOMPARE(::send(m_socket, bytes.constData(), static_cast<std::size_t>(bytes.size()), 0),
                 ssize_t(bytes.size()));
    }
    QByteArray receive(int count) const
    {
        QByteArray bytes(count, '\0');
        const ssize_t got =
            ::recv(m_socket, bytes.data(), static_cast<std::size_t>(count), MSG_WAITALL);
        return bytes.left(static_cast<int>(std::max<ssize_t>(got, 0)));
    }

    QTemporaryDir m_folder;
    int m_socket = -1;
};

UsbDescription pad()
{
    UsbDescription description;
    description.vendor = 0x1234;
    description.product = 0x5678;
    description.interfaces = {{0,
                               0x03,
                               {{0x81, UsbEndpoint::Interrupt, 16, 4},
                                {0x02, UsbEndpoint::Bulk, 64, 0},
                                {0x85, UsbEndpoint::Bulk, 64, 0}},
                               "usbhid"}};
    return description;
}

QByteArray setup(const char* hex)
{
    return QByteArray::fromHex(hex);
}

} // namespace

class UrbTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPlugTakesAFreePortOfTheRightHubAndAnUnplugFreesIt()
    {
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), nullptr);
        QVERIFY(!device.isPlugged());
        QCOMPARE(device.plug(), QString());
        QVERIFY(device.isPlugged());
        const QList<QByteArray> numbers = kernel.take();
        QCOMPARE(numbers.size(), 4);
        QCOMPARE(numbers.at(0), QByteArray("2"));
        QCOMPARE(numbers.at(3), QByteArray("2")); // full speed
        QCOMPARE(kernel.told("detach"), QByteArray());
        device.unplug();
        QVERIFY(!device.isPlugged());
        QCOMPARE(kernel.told("detach"), QByteArray("2"));
        QVERIFY(kernel.isClosed());
    }

    void withoutAPortOrAControllerItSaysWhy()
    {
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), nullptr);
        QCOMPARE(VhciPort::fault(kernel.folder()), QString());
        kernel.put("status", "hs  0000 006 002 00010001 000003 1-1\n");
        QVERIFY(device.plug().contains(QLatin1String("taken")));
        QVERIFY(!device.isPlugged());
        QVERIFY(VhciPort::fault(kernel.folder() + QStringLiteral("/none"))
                    .contains(QLatin1String("modprobe vhci-hcd")));
        QVERIFY(QFile::remove(kernel.folder() + QStringLiteral("/attach")));
        QVERIFY(VhciPort::fault(kernel.folder()).contains(QLatin1String("root")));
    }

    void everyAnswerIsAReply_data()
    {
        QTest::addColumn<int>("endpoint");
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("arrived");
        QTest::addColumn<QString>("line");
        enum { Short, Long, Stall, Broken, Late };
        QTest::newRow("short") << 1 << int(Short) << 0 << QByteArray("a701") << "in 81: A7 01";
        QTest::newRow("too much") << 5 << int(Long) << -EOVERFLOW << QByteArray("42424242")
                                  << "in 85: 42 42 42 42: EOVERFLOW";
        QTest::newRow("stall") << 5 << int(Stall) << -EPIPE << QByteArray() << "in 85: EPIPE";
        QTest::newRow("broken wire")
            << 1 << int(Broken) << -EPROTO << QByteArray() << "in 81: EPROTO";
        QTest::newRow("late") << 1 << int(Late) << 0 << QByteArray("a701") << "in 81: A7 01";
    }

    void everyAnswerIsAReply()
    {
        QFETCH(int, endpoint);
        QFETCH(int, kind);
        QFETCH(int, status);
        QFETCH(QByteArray, arrived);
        QFETCH(QString, line);
        const QByteArray few = QByteArray::fromHex("A701");
        const std::vector<UsbAnswer> answers = {
            UsbAnswer::data(few), UsbAnswer::data(QByteArray(9, '\x42')), UsbAnswer::stall(),
            UsbAnswer::fail(EPROTO), UsbAnswer::data(few).after(100)};
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), [&](const UsbRequest&) {
            return answers.at(static_cast<std::size_t>(kind));
        });
        QCOMPARE(device.plug(), QString());
        kernel.take();
        kernel.submit(7, in, static_cast<quint32>(endpoint), 4);
        const Reply reply = kernel.reply();
        QCOMPARE(reply.kind, 3U);
        QCOMPARE(reply.number, 7U);
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.data.toHex(), arrived);
        QCOMPARE(device.log(), QStringList(line));
    }

    void whatIsSentReachesTheDevice()
    {
        QList<UsbRequest> requests;
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), [&](const UsbRequest& request) {
            requests += request;
            return request.kind == UsbRequest::Bulk ? UsbAnswer::accept(2) : UsbAnswer::accept();
        });
        QCOMPARE(device.plug(), QString());
        kernel.take();
        kernel.submit(1, out, 2, 3, {}, "abc");
        const Reply part = kernel.reply(false);
        QCOMPARE(part.status, 0);
        QCOMPARE(part.actual, 2);
        QCOMPARE(requests.at(0).data, QByteArray("abc"));
        QCOMPARE(int(requests.at(0).endpoint), 2);
        kernel.submit(2, out, 0, 4, setup("2109023001000400"), "wxyz");
        QCOMPARE(kernel.reply(false).actual, 4);
        QCOMPARE(int(requests.at(1).setup.request), 9);
        QCOMPARE(int(requests.at(1).setup.value), 0x3002);
        QCOMPARE(int(requests.at(1).setup.index), 1);
        QCOMPARE(requests.at(1).data, QByteArray("wxyz"));
        kernel.submit(3, in, 6, 4);
        QCOMPARE(kernel.reply().status, -EPIPE); // no such endpoint
        QCOMPARE(device.log(), QStringList({"out 02: 61 62 63", "control 21 09 3002 0001: 77 78 79 "
                                                                "7A"}));
    }

    void theKernelsOwnQuestionsAreAnsweredAndNotLogged()
    {
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), [](const UsbRequest&) { return UsbAnswer::stall(); });
        QCOMPARE(device.plug(), QString());
        kernel.take();
        kernel.submit(1, in, 0, 64, setup("8006000100004000"));
        QCOMPARE(kernel.reply().data, deviceDescriptor(pad()));
        kernel.submit(2, out, 0, 0, setup("0009010000000000"));
        QCOMPARE(kernel.reply(false).status, 0);
        QCOMPARE(device.log(), QStringList());
    }

    void aTransferWithoutDataWaitsAndCanBeTakenBack()
    {
        std::atomic<bool> ready{false};
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), [&](const UsbRequest&) {
            return ready ? UsbAnswer::data("pen") : UsbAnswer::never();
        });
        QCOMPARE(device.plug(), QString());
        kernel.take();
        kernel.submit(1, in, 1, 16);
        QTRY_COMPARE(device.log(), QStringList("in 81: pending"));
        QVERIFY(kernel.isSilent());
        kernel.unlink(2, 1);
        const Reply taken = kernel.reply();
        QCOMPARE(taken.kind, 4U);
        QCOMPARE(taken.number, 2U);
        QCOMPARE(taken.status, -ECONNRESET);
        QCOMPARE(device.log(), QStringList("in 81: ENOENT"));
        kernel.submit(3, in, 1, 16);
        QTRY_COMPARE(device.log().size(), 2);
        ready = true;
        device.retry(0x81);
        const Reply report = kernel.reply();
        QCOMPARE(report.number, 3U);
        QCOMPARE(report.data, QByteArray("pen"));
        kernel.unlink(4, 3);
        QCOMPARE(kernel.reply().status, 0); // it had ended
    }

    void oneEndpointsTransfersEndInTheirOrderAndOthersDoNotWaitForThem()
    {
        std::atomic<int> asked{0};
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), [&](const UsbRequest& request) {
            if (request.endpoint == 0x85)
                return UsbAnswer::data("other");
            return asked++ == 0 ? UsbAnswer::data("first").after(200) : UsbAnswer::data("second");
        });
        QCOMPARE(device.plug(), QString());
        kernel.take();
        kernel.submit(1, in, 1, 16);
        kernel.submit(2, in, 1, 16);
        kernel.submit(3, in, 5, 16);
        QCOMPARE(kernel.reply().data, QByteArray("other"));
        QCOMPARE(kernel.reply().data, QByteArray("first"));
        QCOMPARE(kernel.reply().data, QByteArray("second"));
    }

    void aDeviceCanPullItsPlugAndTheKernelCanHangUp()
    {
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UsbDevice device(below, pad(), [](const UsbRequest&) { return UsbAnswer::unplug(); });
        QCOMPARE(device.plug(), QString());
        kernel.take();
        kernel.submit(1, in, 1, 16);
        QVERIFY(kernel.isClosed());
        QTRY_COMPARE(kernel.told("detach"), QByteArray("2"));
        QVERIFY(!device.isPlugged());
        QCOMPARE(device.log(), QStringList("in 81: ESHUTDOWN"));
        kernel.put("detach", "");
        QCOMPARE(device.plug(), QString()); // a replug
        kernel.take();
        QVERIFY(device.isPlugged());
        kernel.hangUp();
        QTRY_VERIFY(!device.isPlugged());
        QTRY_COMPARE(kernel.told("detach"), QByteArray("2"));
    }

    void aCameraSendsWholePictures()
    {
        CameraDescription description;
        description.sizes = {{640, 480}, {320, 240}};
        Kernel kernel;
        VirtualKernel below(kernel.folder());
        UvcCamera camera(below, description);
        QCOMPARE(camera.plugIn(), QString());
        QCOMPARE(kernel.take().value(3), QByteArray("3")); // high speed
        kernel.submit(1, in, 0, 26, setup("A187000101001A00"));
        QByteArray parameters = kernel.reply().data;
        QCOMPARE(parameters.size(), 26);
        QCOMPARE(parameters.mid(18).toHex(), QByteArray("0060090000400000"));
        parameters[3] = 2;
        for (const char* hex : {"2101000101001A00", "2101000201001A00"}) { // probe, commit
            kernel.submit(2, out, 0, 26, setup(hex), parameters);
            QCOMPARE(kernel.reply(false).status, 0);
        }
        const QByteArray scene = packYuyv(drawScene(Scene::Document, {320, 240}));
        for (int number = 0; number < 3; ++number) {
            QByteArray picture;
            int bits = 0;
            while ((bits & 2) == 0 && picture.size() < scene.size()) {
                kernel.submit(3, in, 1, uvcPayloadBytes);
                const QByteArray payload = kernel.reply().data;
                QCOMPARE(int(payload.at(0)), 2);
                bits = static_cast<quint8>(payload.at(1));
                QCOMPARE(bits & ~2, 0x80 | number % 2);
                picture += payload.mid(2);
            }
            QCOMPARE(bits & 2, 2);
            QCOMPARE(picture.size(), scene.size());
            const QByteArray band = packYuyv(drawFrameBand({320, 240}, number));
            QCOMPARE(picture.left(band.size()), band);
            QCOMPARE(picture.mid(band.size()), scene.mid(band.size()));
        }
        camera.setStalled(true);
        kernel.submit(4, in, 1, uvcPayloadBytes);
        kernel.submit(5, in, 0, 26, setup("A181000101001A00")); // behind it in the device's thread
        QCOMPARE(kernel.reply().number, 5U);
        QVERIFY(kernel.isSilent());
        camera.setStalled(false);
        QCOMPARE(kernel.reply().number, 4U);
    }

    void aCamerasDescriptorsAddUp()
    {
        const UsbDescription camera = uvcDescription({});
        const QByteArray all = configurationDescriptors(camera);
        QList<int> types;
        int at = 0;
        for (; at < all.size() && all.at(at) > 0; at += all.at(at))
            types += static_cast<quint8>(all.at(at + 1));
        QCOMPARE(at, int(all.size()));
        QCOMPARE(types.mid(0, 6), QList<int>({2, 11, 4, 0x24, 0x24, 0x24}));
        QCOMPARE(types.count(0x24), 3 + 2 + int(deskCameraSizes().size()) + 1);
        QCOMPARE(types.last(), 5);
        for (const UsbInterface& interface : camera.interfaces) {
            const QByteArray& own = interface.classDescriptors;
            const int total =
                qFromLittleEndian<quint16>(own.constData() + (own.at(0) == 13 ? 5 : 4));
            QCOMPARE(total, int(own.size()));
        }
    }
};

QTEST_GUILESS_MAIN(UrbTest)
#include "urb_test.moc"
