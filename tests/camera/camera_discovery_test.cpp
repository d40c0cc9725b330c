// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Which cameras the window finds among udev's video devices, what it prints and which node it
// opens.

#include "camera/capture_window.h"
#include "tests/support/output_capture.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QComboBox>
#include <QTest>

#include <memory>
#include <vector>

using namespace virtual_desk;

namespace {

constexpr char nothingFound[] = "t_nFlag1 = 0 ,MSG = \nt_nFlag2 = 0 ,MSG = \n";

struct Attached
{
    const char* vendor;
    const char* product;
    int number;
    bool captures = true;
};

} // namespace

Q_DECLARE_METATYPE(std::vector<Attached>)

class CameraDiscoveryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheDesksCameras_data()
    {
        QTest::addColumn<std::vector<Attached>>("attached");
        QTest::addColumn<QByteArray>("printed");
        QTest::addColumn<QStringList>("selector");
        QTest::addColumn<int>("opened"); // N of /dev/videoN, -1 when the window finds none to open
        const QString document = QStringLiteral("文稿摄像头");
        const QString portrait = QStringLiteral("人像摄像头");
        const auto row = [](const char* name, const std::vector<Attached>& attached,
                            const char* printed, const QStringList& selector, int opened) {
            QTest::newRow(name) << attached << QByteArray(printed) << selector << opened;
        };

        row("no camera", {}, nothingFound, {}, -1);
        row("foreign camera, opened as index 0", {{"046d", "0825", 0}}, nothingFound, {}, 0);
        row("document camera", {{"0c45", "6366", 2}},
            "t_nFlag1 = 1 ,MSG = /dev/video2\nt_nFlag2 = 0 ,MSG = \nt_nFlag1 == 1", {document}, 2);
        row("second document model", {{"1bcf", "8001", 3}},
            "t_nFlag1 = 1 ,MSG = /dev/video3\nt_nFlag2 = 0 ,MSG = \nt_nFlag1 == 1", {document}, 3);
        row("both document models: the first of the table",
            {{"1bcf", "8001", 0}, {"0c45", "6366", 1}},
            "t_nFlag1 = 1 ,MSG = /dev/video1\nt_nFlag2 = 0 ,MSG = \nt_nFlag1 == 1", {document}, 1);
        row("portrait camera alone: index 0 is opened", {{"1b17", "6685", 4}, {"046d", "0825", 0}},
            "t_nFlag1 = 0 ,MSG = \nt_nFlag2 = 1 ,MSG = /dev/video4\nt_nFlag1 == 2", {portrait}, 0);
        row("second portrait model", {{"1b17", "6684", 5}},
            "t_nFlag1 = 0 ,MSG = \nt_nFlag2 = 1 ,MSG = /dev/video5\nt_nFlag1 == 2", {portrait}, -1);
        row("both cameras", {{"1b17", "6685", 0}, {"0c45", "6366", 1}},
            "t_nFlag1 = 1 ,MSG = /dev/video1\nt_nFlag2 = 1 ,MSG = /dev/video0\n"
            "t_nFlag1 == 1t_nFlag1 == 2",
            {document, portrait}, 1);
        row("the probe's second portrait model is not the window's", {{"1b17", "0209", 0}},
            nothingFound, {}, 0);
        row("upper case is another camera", {{"0C45", "6366", 0}}, nothingFound, {}, 0);
        row("vendor and product swapped", {{"6366", "0c45", 0}}, nothingFound, {}, 0);
        row("two-digit node: the last digit counts", {{"0c45", "6366", 10}, {"046d", "0825", 0}},
            "t_nFlag1 = 1 ,MSG = /dev/video10\nt_nFlag2 = 0 ,MSG = \nt_nFlag1 == 1", {document}, 0);
        row("two of a kind: the first in udev's list", {{"0c45", "6366", 4}, {"0c45", "6366", 3}},
            "t_nFlag1 = 1 ,MSG = /dev/video3\nt_nFlag2 = 0 ,MSG = \nt_nFlag1 == 1", {document}, 3);
        row("several nodes of one camera: no filter by capability",
            {{"0c45", "6366", 0, false}, {"0c45", "6366", 1}},
            "t_nFlag1 = 1 ,MSG = /dev/video0\nt_nFlag2 = 0 ,MSG = \nt_nFlag1 == 1", {document}, -1);
    }
    void findsTheDesksCameras()
    {
        QFETCH(std::vector<Attached>, attached);
        QFETCH(QByteArray, printed);
        QFETCH(QStringList, selector);
        QFETCH(int, opened);

        VirtualKernel kernel;
        std::vector<std::unique_ptr<Camera>> cameras;
        for (const Attached& one : attached) {
            CameraDescription description;
            description.vendor = one.vendor;
            description.product = one.product;
            description.number = one.number;
            description.captures = one.captures;
            cameras.push_back(std::make_unique<Camera>(kernel, description));
            cameras.back()->plugIn();
        }

        const LogCapture log;
        OutputCapture text;
        CameraUser window(nullptr);
        QCOMPARE(text.take(), printed);

        const auto* combo = window.findChild<QComboBox*>("comboBox_2");
        QStringList items;
        for (int item = 0; item < combo->count(); ++item)
            items << combo->itemText(item);
        QCOMPARE(items, selector);

        window.readFrameSlot(); // the stream starts with the first read
        for (std::size_t camera = 0; camera < cameras.size(); ++camera)
            QCOMPARE(cameras[camera]->isStreaming(), attached[camera].number == opened);
        OutputCapture again;
        QCOMPARE(window.initCamera(), selector.isEmpty() ? -1 : 0);
        QCOMPARE(again.take(), printed);
    }

    void leavesThePathAloneWhenThereIsNoSuchCamera()
    {
        VirtualKernel kernel;
        QVERIFY(kernel.addDevices("P: /devices/platform/loop/video4linux/video7\n"
                                  "E: SUBSYSTEM=video4linux\nE: ID_VENDOR_ID=0c45\n\n"));
        CameraUser window(nullptr);
        char product[] = "6366";
        char vendor[] = "0c45";
        char path[256] = "untouched";
        QCOMPARE(window.findCameraVideoPath(product, vendor, path), 0);
        QCOMPARE(path, "untouched");
        Camera camera(kernel, CameraDescription());
        camera.plugIn();
        QCOMPARE(window.findCameraVideoPath(product, vendor, path), 1);
        QCOMPARE(path, "/dev/video0");
        QCOMPARE(window.findCameraVideoPath(vendor, product, path), 0);
    }

    void probesWithItsOwnTable_data()
    {
        QTest::addColumn<QByteArray>("vendor");
        QTest::addColumn<QByteArray>("product");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("printed");
        QTest::newRow("document") << QByteArray("0c45") << QByteArray("6366") << 0
                                  << QByteArray("t_nFlag1 = 1 ,MSG = /dev/video6\n"
                                                "t_nFlag2 = 0 ,MSG = \n");
        QTest::newRow("second document model")
            << QByteArray("1bcf") << QByteArray("8001") << -1 << QByteArray(nothingFound);
        for (const char* product : {"6685", "0209"}) {
            QTest::newRow(product) << QByteArray("1b17") << QByteArray(product) << 0
                                   << QByteArray("t_nFlag1 = 0 ,MSG = \n"
                                                 "t_nFlag2 = 1 ,MSG = /dev/video6\n");
        }
        QTest::newRow("6684") << QByteArray("1b17") << QByteArray("6684") << -1
                              << QByteArray(nothingFound);
    }
    void probesWithItsOwnTable()
    {
        QFETCH(QByteArray, vendor);
        QFETCH(QByteArray, product);
        QFETCH(int, result);
        QFETCH(QByteArray, printed);
        VirtualKernel kernel;
        CameraDescription description;
        description.vendor = vendor;
        description.product = product;
        description.number = 6;
        Camera camera(kernel, description);
        CameraUser window(nullptr);
        camera.plugIn();
        QString first = "kept";
        QString second = "dropped";
        const LogCapture log;
        OutputCapture text;
        QCOMPARE(window.getSignInfo(first, second), result);
        QCOMPARE(text.take(), printed);
        QCOMPARE(first, "kept");
        QCOMPARE(second, "");
    }
};

QTEST_MAIN(CameraDiscoveryTest)
#include "camera_discovery_test.moc"
