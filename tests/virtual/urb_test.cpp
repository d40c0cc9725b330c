// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Devices below a real kernel, with this test in the kernel's place: the folder of a host
// controller, and the other end of the socket that is handed over there.

#include "tests/support/patience.h"
#include "virtual/camera/uvc_camera.h"
#include "virtual/camera/uvc_description.h"
#include "virtual/kernel/usb_device.h"
#include "virtual/kernel/vhci_port.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

using namespace virtual_desk;

namespace {

constexpr qint32 submitKind = 1;
constexpr qint32 unlinkKind = 2;
constexpr qint32 submitEnded = 3;
const QByteArray noSetup(8, '\0');

/// The kernel's side of a host controller and of the device that was plugged in there last.
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
    VirtualKernel& controller() { return m_controller; }

    void put(const char* file, const QByteArray& text) const
    {
        QFile target(m_folder.filePath(file));
        QVERIFY(target.open(QIODevice::WriteOnly));
        target.write(text);
    }
    QByteArray told(const char* file) const
    {
        QFile source(m_folder.filePath(file));
        return source.open(QIODevice::ReadOnly) ? source.readAll() : QByteArray("none");
    }

    /// Takes over the socket of the device that was plugged in.
    /// \return what it was told: the port, the socket, the device and the speed
    QByteArrayList take()
    {
        hangUp();
        const QByteArrayList numbers = told("attach").split(' ');
        m_socket = ::dup(numbers.value(1).toInt());
        const timeval limit{60, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        return numbers;
    }
    void hangUp()
    {
        ::shutdown(m_socket, SHUT_RDWR);
        ::close(m_socket);
        m_socket = -1;
    }

    /// \param endpoint with bit 7 for the direction to the kernel
    void submit(int number, int endpoint, int length, const QByteArray& data = {},
                const QByteArray& setup = noSetup)
    {
        m_isIn[number] = (endpoint & 0x80) != 0;
        send({submitKind, number, 0x10003, m_isIn[number], endpoint & 0x0F, 0, length},
             setup + data);
    }
    /// \param hex of the eight setup bytes
    void control(int number, const char* hex, const QByteArray& data = {})
    {
        const QByteArray setup = QByteArray::fromHex(hex);
        submit(number, setup[0] & 0x80, qFromLittleEndian<quint16>(setup.constData() + 6), data,
               setup);
    }
    /// \param fields the header's first ones
    void send(std::initializer_list<qint32> fields, const QByteArray& setupAndData)
    {
        QByteArray bytes;
        for (const qint32 field : fields) {
            const qint32 bigEndian = qToBigEndian(field);
            bytes.append(reinterpret_cast<const char*>(&bigEndian), sizeof(bigEndian));
        }
        bytes = bytes.leftJustified(40, '\0') + setupAndData;
        QCOMPARE(::send(m_socket, bytes.constData(), std::size_t(bytes.size()), 0),
                 ssize_t(bytes.size()));
    }

    /// The next message about a transfer: its number, how it ended, and the bytes that moved.
    /// What came with it is in `received`.
    QByteArray reply()
    {
        const QByteArray header = receive(48);
        if (header.size() < 48)
            return "no reply";
        const auto field = [&header](int offset) {
            return static_cast<int>(qFromBigEndian<quint32>(header.constData() + offset));
        };
        const int number = field(4);
        const int moved = field(24);
        received.clear();
        if (field(0) == submitEnded && m_isIn[number] && moved > 0)
            received = receive(moved);
        return QByteArray::number(number) + ' ' + strerrorname_np(-field(20)) + ' ' +
               QByteArray::number(moved);
    }
    QByteArray received;

    bool isClosed() const { return receive(1).isEmpty(); }

private:
    QByteArray receive(int count) const
    {
        QByteArray bytes(count, '\0');
        const ssize_t got = ::recv(m_socket, bytes.data(), std::size_t(count), MSG_WAITALL);
        return bytes.left(int(std::max<ssize_t>(got, 0)));
    }

    QTemporaryDir m_folder;
    VirtualKernel m_controller{m_folder.path()};
    int m_socket = -1;
    QHash<int, bool> m_isIn; ///< by the number of the transfer
};

UsbDescription pad()
{
    UsbInterface hid{0,
                     0x03,
                     {{0x81, UsbEndpoint::Interrupt, 16, 4},
                      {0x02, UsbEndpoint::Bulk, 64, 0},
                      {0x85, UsbEndpoint::Bulk, 64, 0}},
                     "usbhid",
                     QByteArray::fromHex("0602ff0901a101c0")};
    return {0x1234, 0x5678, {hid}, "Pad"};
}

/// A kernel with a device plugged in.
struct PluggedPad : Kernel
{
    explicit PluggedPad(const UsbDevice::Handler& handler)
        : device(controller(), pad(), handler)
    {
        plug();
    }
    void plug()
    {
        QCOMPARE(device.plug(), QString());
        take();
    }

    UsbDevice device;
};

} // namespace

class UrbTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPlugTakesAFreePortAndIsPulledFromAnySide()
    {
        PluggedPad kernel([](const UsbRequest&) { return UsbAnswer::unplug(); });
        const QByteArray numbers = kernel.told("attach");
        QVERIFY(numbers.startsWith("2 ")); // the free port of the hub for this speed
        QVERIFY(numbers.endsWith(" 2"));   // full speed
        const std::function<void()> pulls[] = {[&] { kernel.device.unplug(); },
                                               [&] { kernel.submit(1, 0x81, 16); },
                                               [&] { kernel.hangUp(); }};
        for (const auto& pull : pulls) {
            QVERIFY(kernel.device.isPlugged());
            QCOMPARE(kernel.told("detach"), QByteArray());
            pull();
            QVERIFY(kernel.isClosed());
            AWAIT_EQUAL(kernel.told("detach"), QByteArray("2"));
            QVERIFY(!kernel.device.isPlugged());
            kernel.put("detach", "");
            kernel.plug();
        }
        QCOMPARE(kernel.device.log(), QStringList("in 81: ESHUTDOWN"));
    }

    void withoutAPortOrAControllerItSaysWhy()
    {
        Kernel kernel;
        UsbDevice device(kernel.controller(), pad(), nullptr);
        QCOMPARE(VhciPort::fault(kernel.folder()), QString());
        kernel.put("status", "hs  0000 006 002 00010001 000003 1-1\n");
        QVERIFY(device.plug().contains("taken"));
        QVERIFY(!device.isPlugged());
        QVERIFY(VhciPort::fault("none").contains("modprobe vhci-hcd"));
        QVERIFY(QFile::remove(kernel.folder() + "/attach"));
        QVERIFY(VhciPort::fault(kernel.folder()).contains("root"));
    }

    void aMessageThatIsNoCommandEndsTheConnection()
    {
        PluggedPad kernel([](const UsbRequest&) { return UsbAnswer::accept(); });
        for (const auto& [kind, length] : {std::pair(submitKind, -1), {submitEnded, 0}}) {
            kernel.send({kind, 1, 0x10003, 0, 2, 0, length}, noSetup);
            QVERIFY(kernel.isClosed());
            kernel.plug();
        }
    }

    void aTransferEndsWithTheDevicesAnswer()
    {
        QList<UsbRequest> requests;
        PluggedPad kernel([&](const UsbRequest& request) {
            requests += request;
            if (request.endpoint == 0x85)
                return UsbAnswer::data("overflow");
            if (request.endpoint == 0x81)
                return UsbAnswer::stall();
            return UsbAnswer::accept(request.kind == UsbRequest::Control ? -1 : 2);
        });
        kernel.submit(1, 0x02, 3, "abc");
        kernel.control(2, "2109023001000400", "wxyz");
        kernel.submit(3, 0x85, 4);
        kernel.submit(4, 0x81, 4);
        kernel.submit(5, 0x86, 4); // there is no such endpoint
        for (const char* reply : {"1 0 2", "2 0 4", "3 EOVERFLOW 4", "4 EPIPE 0", "5 EPIPE 0"})
            QCOMPARE(kernel.reply(), reply);
        QCOMPARE(requests.at(0).data, QByteArray("abc"));
        QCOMPARE(requests.at(1).data, QByteArray("wxyz"));
        QCOMPARE(kernel.device.log(),
                 QStringList({"out 02: 61 62 63", "control 21 09 3002 0001: 77 78 79 7A",
                              "in 85: 6F 76 65 72: EOVERFLOW", "in 81: EPIPE"}));
    }

    void theKernelsOwnQuestionsAreAnsweredWithoutTheHandlerAndNotLogged()
    {
        int asked = 0;
        PluggedPad kernel([&asked](const UsbRequest&) {
            ++asked;
            return UsbAnswer::accept();
        });
        const std::pair<const char*, const char*> questions[] = {
            {"800600010000ff00", "1201000200000040 3412785600010102 0001"},
            {"8006000100000800", "1201000200000040"},
            {"800600020000ff00", "090230000101008032 090400000303000000 092111010001220800"
                                 "07058103100004 07050202400000 07058502400000"},
            {"810600210000ff00", "092111010001220800"},
            {"810600220000ff00", "0602ff0901a101c0"},
            {"810600220100ff00", nullptr}, // no such interface
            {"800600030000ff00", "04030904"},
            {"800602030904ff00", "0803500061006400"},
            {"800603030904ff00", nullptr},
            {"8000000000000200", "0000"},
            {"8008000000000100", "01"},
            {"0009010000000000", ""},
            {"010b000000000000", ""},
            {"0201000081000000", ""},
            {"210a000000000000", ""}};
        for (const auto& [setup, answer] : questions) {
            kernel.control(1, setup);
            QVERIFY(kernel.reply().startsWith(answer ? "1 0 " : "1 EPIPE "));
            QCOMPARE(kernel.received.toHex(), QByteArray::fromHex(answer).toHex());
        }
        QCOMPARE(asked, 0);
        QCOMPARE(kernel.device.log(), QStringList());
        for (const char* others : {"210a000001000000", "c001000000000000"}) {
            kernel.control(1, others);
            kernel.reply();
        }
        QCOMPARE(asked, 2);
    }

    void aTransferWithoutDataWaitsAndCanBeTakenBack()
    {
        std::atomic<bool> ready{false};
        PluggedPad kernel(
            [&](const UsbRequest&) { return ready ? UsbAnswer::data("pen") : UsbAnswer::never(); });
        UsbDevice& device = kernel.device;
        kernel.submit(1, 0x81, 16);
        AWAIT_EQUAL(device.log(), QStringList("in 81: pending"));
        kernel.send({unlinkKind, 2, 0x10003, 0, 0, 1}, noSetup);
        QCOMPARE(kernel.reply(), "2 ECONNRESET 0");
        QCOMPARE(device.log(), QStringList("in 81: ENOENT"));
        kernel.submit(3, 0x81, 16);
        AWAIT_EQUAL(device.log().size(), 2);
        ready = true;
        device.retry(0x81);
        QCOMPARE(kernel.reply(), "3 0 3");
        QCOMPARE(kernel.received, "pen");
        kernel.send({unlinkKind, 4, 0x10003, 0, 0, 3}, noSetup);
        QCOMPARE(kernel.reply(), "4 0 0"); // it had ended
    }

    void oneEndpointsTransfersEndInTheirOrderAndOthersDoNotWaitForThem()
    {
        std::atomic<int> asked{0};
        PluggedPad kernel([&](const UsbRequest& request) {
            if (request.endpoint == 0x85)
                return UsbAnswer::data("other");
            return asked++ == 0 ? UsbAnswer::data("first").after(200) : UsbAnswer::data("second");
        });
        kernel.submit(1, 0x81, 16);
        kernel.submit(2, 0x81, 16);
        kernel.submit(3, 0x85, 16);
        for (const char* reply : {"3 0 5", "1 0 5", "2 0 6"})
            QCOMPARE(kernel.reply(), reply);
    }

    void aCameraSendsWholePictures()
    {
        CameraDescription description;
        description.sizes = {{640, 480}, {320, 240}};
        Kernel kernel;
        UvcCamera camera(kernel.controller(), description);
        QCOMPARE(camera.plugIn(), QString());
        QCOMPARE(kernel.take().value(3), QByteArray("3")); // high speed
        kernel.control(1, "A187000101001A00");             // the stream's parameters
        QCOMPARE(kernel.reply(), "1 0 26");
        QCOMPARE(kernel.received.mid(18).toHex(), QByteArray("0060090000400000"));
        kernel.control(2, "2101000201001A00", kernel.received.replace(3, 1, "\2")); // second size
        QCOMPARE(kernel.reply(), "2 0 26");
        const QByteArray scene = packYuyv(drawScene(Scene::Document, {320, 240}));
        for (int number = 0; number < 2; ++number) {
            QByteArray picture = packYuyv(drawFrameBand({320, 240}, number));
            picture += scene.mid(picture.size());
            for (int sent = 0; sent < picture.size(); sent += uvcPayloadBytes - 2) {
                const QByteArray payload = picture.mid(sent, uvcPayloadBytes - 2);
                const int end = sent + payload.size() == picture.size() ? 2 : 0;
                kernel.submit(3, 0x81, uvcPayloadBytes);
                kernel.reply();
                QCOMPARE(kernel.received.left(2).toHex(),
                         QByteArray::number(0x0280 | end | number, 16).rightJustified(4, '0'));
                QVERIFY(kernel.received.mid(2) == payload);
            }
        }
    }
};

QTEST_GUILESS_MAIN(UrbTest)
#include "urb_test.moc"
