// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Which cameras the window finds among udev's video devices, what it prints and which node it
// opens.

#include "camera/capture_window.h"
#include "tests/support/output_capture.h"
#include "tests/support/table.h"
#include "virtual/camera/camera.h"
#include "virtual/kernel/virtual_kernel.h"

#include <QComboBox>

#include <map>

using namespace virtual_desk;

namespace {

/// The lines about the two searches, from the numbers of the nodes that they find: "1,0", or ",0"
/// for a portrait camera alone.
QString searched(const QString& found)
{
    QString lines;
    for (const int search : {0, 1}) {
        const QString number = found.section(',', search, search);
        lines += QString("t_nFlag%1 = %2 ,MSG = %3\n")
                     .arg(search + 1)
                     .arg(number.isEmpty() ? 0 : 1)
                     .arg(number.isEmpty() ? QString() : "/dev/video" + number);
    }
    return lines;
}

} // namespace

class CameraDiscoveryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheDesksCameras_data()
    {
        // Nodes and their cameras, "-" for one without pictures; what the window and the older
        // probe find; the node that is opened, -1 when there is none to open.
        addRows<QString, QString, QString, int>(
            {{"no camera", "", ",", ",", -1},
             {"foreign camera, opened as index 0", "0 046d:0825", ",", ",", 0},
             {"document camera", "2 0c45:6366", "2,", "2,", 2},
             {"second document model", "3 1bcf:8001", "3,", ",", 3},
             {"the first model of the table", "0 1bcf:8001 1 0c45:6366", "1,", "1,", 1},
             {"portrait camera alone: 0 is opened", "4 1b17:6685 0 046d:0825", ",4", ",4", 0},
             {"second portrait model", "5 1b17:6684", ",5", ",", -1},
             {"second portrait model of the probe", "0 1b17:0209", ",", ",0", 0},
             {"both cameras", "0 1b17:6685 1 0c45:6366", "1,0", "1,0", 1},
             {"upper case is another camera", "0 0C45:6366", ",", ",", 0},
             {"another vendor, another product", "0 1bcf:6366 1 0c45:8001", ",", ",", 0},
             {"the node's last digit counts", "10 0c45:6366 0 046d:0825", "10,", "10,", 0},
             {"the first node, whatever it can do", "4 0c45:6366 3 0c45:6366-", "3,", "3,", -1}});
    }
    void findsTheDesksCameras()
    {
        const auto [attached, found, probed, opened] = row<QString, QString, QString, int>();
        VirtualKernel kernel;
        std::map<int, Camera> cameras;
        const QStringList nodes = attached.split(' ', Qt::SkipEmptyParts);
        for (int i = 0; i < nodes.size(); i += 2) {
            CameraDescription description;
            description.number = nodes[i].toInt();
            description.vendor = nodes[i + 1].left(4).toLatin1();
            description.product = nodes[i + 1].mid(5, 4).toLatin1();
            description.captures = !nodes[i + 1].endsWith('-');
            cameras.try_emplace(description.number, kernel, description).first->second.plugIn();
        }
        QString printed = searched(found);
        QStringList expected;
        for (const int search : {0, 1}) {
            if (found.section(',', search, search).isEmpty())
                continue;
            printed += QString("t_nFlag1 == %1").arg(search + 1);
            expected << (search == 0 ? "文稿摄像头" : "人像摄像头");
        }

        const LogCapture log;
        OutputCapture text;
        CameraUser window(nullptr);
        QCOMPARE(QString(text.written()), printed); // at once, though the last line has no end
        QStringList selector;
        const auto* combo = window.findChild<QComboBox*>("comboBox_2");
        for (int item = 0; item < combo->count(); ++item)
            selector << combo->itemText(item);
        QCOMPARE(selector, expected);
        window.readFrameSlot(); // the stream starts with the first read
        for (const auto& [number, camera] : cameras)
            QCOMPARE(camera.isStreaming(), number == opened);
        QCOMPARE(window.initCamera(), selector.isEmpty() ? -1 : 0);
        QString first = "kept";
        QString second = "dropped";
        QCOMPARE(window.getSignInfo(first, second), probed == "," ? -1 : 0);
        QCOMPARE(first + second, "kept");
        QCOMPARE(QString(text.take()), printed + printed + searched(probed));
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
    }
};

QTEST_MAIN(CameraDiscoveryTest)
#include "camera_discovery_test.moc"
