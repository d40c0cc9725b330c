// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Sequences of requests to the dispatcher, a line each, up to a zero byte; behind it stands the
// script of the devices. A request that opens a window is followed by the next ones inside of it,
// as at a counter; after the last one the windows are closed.

#include "camera/camera_module.h"
#include "fuzz/scripted_usb.h"
#include "server/text_message_processor.h"
#include "sign/session_state.h"
#include "simcard/sim_reader.h"

#include <QApplication>
#include <QWebSocket>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int mostRequests = 24;
constexpr std::size_t responseSize = 1024;

class CaptureWindow : public CaptureDialog
{
public:
    QString getBase64() override { return QStringLiteral("UElDVFVSRQ=="); }
};

class Sequence : public QObject
{
public:
    Sequence(CTextMessageProcessor& processor, QList<QByteArray> requests)
        : m_processor(processor)
        , m_requests(std::move(requests))
    {
    }

    void run()
    {
        playNextLater();
        while (!m_isOver)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

private:
    void playNextLater()
    {
        QMetaObject::invokeMethod(this, [this] { playNext(); }, Qt::QueuedConnection);
    }

    void playNext()
    {
        if (m_requests.isEmpty()) {
            finish();
            return;
        }
        playNextLater();
        m_processor.Process(&m_client, QString::fromUtf8(m_requests.takeFirst()));
    }

    // Windows close from the innermost outwards; each returns to the loop that it was opened in.
    void finish()
    {
        m_processor.Process(nullptr, QStringLiteral("{'function':'ZCStopDeviceAB'}"));
        if (QWidget* window = QApplication::activeModalWidget()) {
            window->close();
            QMetaObject::invokeMethod(this, [this] { finish(); }, Qt::QueuedConnection);
            return;
        }
        m_isOver = true;
    }

    CTextMessageProcessor& m_processor;
    QList<QByteArray> m_requests;
    QWebSocket m_client; // connected to nobody: what is sent to it is dropped
    bool m_isOver = false;
};

CTextMessageProcessor& startedProcessor()
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int count = 1;
    static char name[] = "commands_fuzz";
    static char* arguments[] = {name, nullptr};
    static const auto* const application = new QApplication(count, arguments); // to the end
    Q_UNUSED(application)
    QApplication::setQuitOnLastWindowClosed(false);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static CTextMessageProcessor processor;
    return processor;
}

int successOr(int error)
{
    return ScriptedUsb::next() == 0 ? error : 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static CTextMessageProcessor& processor = startedProcessor();
    const auto* const end = std::find(data, data + size, std::uint8_t{0});
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<int>(end - data));
    const std::uint8_t* const script = std::min(end + 1, data + size);
    ScriptedUsb::play(script, static_cast<std::size_t>(data + size - script));
    g_SignData = struct_GLOBALSSIGNDATA();
    Sequence(processor, text.split('\n').mid(0, mostRequests)).run();
    return g_globalObj->signWindow == nullptr ? 0 : (std::abort(), 0);
}

// Fontconfig keeps pointers where the leak checker does not see them.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig";
}

// The camera's window and the SIM card's reader, in the places of the real ones.
std::unique_ptr<CaptureDialog> createCaptureWindow()
{
    return ScriptedUsb::next() == 0 ? nullptr : std::make_unique<CaptureWindow>();
}

extern "C" {

int OpenCardReader(int /*kind*/, const char* /*readerName*/, char* /*openResult*/)
{
    return successOr(1);
}

int CardPowerOn(unsigned char* atr)
{
    ScriptedUsb::take(atr, ScriptedUsb::next());
    return successOr(1);
}

int SendApduCommand(int /*length*/, const char* /*text*/, int* responseLength, char* response)
{
    const std::size_t most = std::min<std::size_t>(ScriptedUsb::next() * 8U, responseSize);
    *responseLength =
        static_cast<int>(ScriptedUsb::take(reinterpret_cast<std::uint8_t*>(response), most));
    return successOr(1);
}

int CardPowerOff(void)
{
    return successOr(1);
}

int CloseCardReader(void)
{
    return successOr(1);
}

} // extern "C"
