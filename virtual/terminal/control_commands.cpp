// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/terminal/control_commands.h"

#include "virtual/terminal/card_request.h"
#include "virtual/terminal/desk.h"
#include "virtual/terminal/service_runner.h"
#include "virtual/terminal/service_windows.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QPixmap>
#include <QRect>
#include <QRegularExpression>
#include <QScreen>

namespace virtual_desk {
namespace {

// Positions of the two displays, as the service expects them.
constexpr QRect mainDisplay(0, 0, 1920, 1080);
constexpr QRect padDisplay(1921, 0, 1280, 800);

const QString commandKey = QStringLiteral("command");
const QString deviceKey = QStringLiteral("device");
const QString idKey = QStringLiteral("id");
const QString windowKey = QStringLiteral("window");

QString takenDevice(CheckedObject& request, const QStringList& names)
{
    const QString name = request.choice(deviceKey, names);
    return names.contains(name) ? name : names.first();
}

DeskDevice& anyDevice(Desk& desk, CheckedObject& request)
{
    return desk.device(takenDevice(request, Desk::deviceNames()));
}

IdentityReaderDevice& identityReader(Desk& desk, CheckedObject& request)
{
    const QString usb = QStringLiteral("usbReader");
    if (takenDevice(request, {usb, QStringLiteral("hidReader")}) == usb)
        return desk.usbReader();
    return desk.hidReader();
}

QString notPlugged(const QString& device)
{
    return QStringLiteral("\"%1\" is not plugged in.").arg(device);
}

QString simFault(const SimReaderDevice& reader)
{
    if (!reader.isPlugged())
        return notPlugged(QStringLiteral("simReader"));
    return reader.isBroken() ? QStringLiteral("\"simReader\" is broken; repair it first.")
                             : QString();
}

} // namespace

struct ControlCommands::Command
{
    const char* name;
    Handler handler;
    bool needsEmulation = false;
};

const ControlCommands::Command* ControlCommands::find(const QString& name)
{
    static const Command commands[] = {
        {"state", &ControlCommands::tellState},
        {"plug", &ControlCommands::plug},
        {"unplug", &ControlCommands::unplug},
        {"break", &ControlCommands::breakDown},
        {"repair", &ControlCommands::repair},
        {"putCard", &ControlCommands::putCard},
        {"changeCard", &ControlCommands::changeCard},
        {"takeCard", &ControlCommands::takeCard},
        {"setModule", &ControlCommands::setModule},
        {"insertSim", &ControlCommands::insertSim},
        {"pullSim", &ControlCommands::pullSim},
        {"pen", &ControlCommands::pen},
        {"setPicture", &ControlCommands::setPicture},
        {"log", &ControlCommands::log},
        {"press", &ControlCommands::press, true},
        {"screenshot", &ControlCommands::screenshot, true},
        {"startService", &ControlCommands::startService, true},
        {"stopService", &ControlCommands::stopService, true},
        {"killService", &ControlCommands::killService, true},
    };
    for (const Command& command : commands)
        if (name == QLatin1String(command.name))
            return &command;
    return nullptr;
}

QJsonObject ControlCommands::execute(const QString& text)
{
    QJsonParseError parsing{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &parsing);
    QJsonObject keys = document.object();
    const QJsonValue id = keys.take(idKey);
    Outcome outcome;
    if (document.isObject()) {
        CheckedObject request(keys);
        outcome = dispatch(request);
    } else {
        outcome.error = parsing.error == QJsonParseError::NoError
                            ? QStringLiteral("A request is one JSON object.")
                            : QStringLiteral("Not JSON: %1.").arg(parsing.errorString());
    }
    const bool isGood = outcome.error.isEmpty();
    QJsonObject reply{{QStringLiteral("ok"), isGood}};
    if (!id.isUndefined())
        reply.insert(idKey, id);
    if (isGood)
        reply.insert(QStringLiteral("result"), outcome.result);
    else
        reply.insert(QStringLiteral("error"), outcome.error);
    return reply;
}

ControlCommands::Outcome ControlCommands::dispatch(CheckedObject& request)
{
    const QString name = request.text(commandKey);
    if (!request.isGood())
        return {request.error(), {}};
    const Command* command = find(name);
    if (command && command->needsEmulation && !m_desk.isEmulated())
        return {
            QStringLiteral("With --kernel there is no command \"%1\": the service and the displays "
                           "are the machine's own.")
                .arg(name),
            {}};
    if (!command)
        return {QStringLiteral("There is no command \"%1\".").arg(name), {}};
    return (this->*command->handler)(request);
}

QJsonObject ControlCommands::state()
{
    return {
        {QStringLiteral("devices"), m_desk.state()},
        {QStringLiteral("service"), m_service.state()},
        {QStringLiteral("windows"), m_service.isRunning() ? m_windows.windows() : QJsonArray()}};
}

ControlCommands::Outcome ControlCommands::tellState(CheckedObject& request)
{
    return {request.error(), state()};
}

ControlCommands::Outcome ControlCommands::plug(CheckedObject& request)
{
    const QString name = takenDevice(request, Desk::deviceNames());
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    DeskDevice& device = m_desk.device(name);
    if (device.isPlugged())
        return {QStringLiteral("\"%1\" is plugged in already.").arg(name), {}};
    return {device.plug(), {}};
}

ControlCommands::Outcome ControlCommands::unplug(CheckedObject& request)
{
    const QString name = takenDevice(request, Desk::deviceNames());
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    DeskDevice& device = m_desk.device(name);
    if (!device.isPlugged())
        return {notPlugged(name), {}};
    device.unplug();
    return {};
}

ControlCommands::Outcome ControlCommands::breakDown(CheckedObject& request)
{
    DeskDevice& device = anyDevice(m_desk, request);
    const QString held = QStringLiteral("held");
    if (!m_desk.isEmulated() && request.text(QStringLiteral("fault")) == held)
        request.complain(
            QStringLiteral("With --kernel a device is held by a program that claims it."));
    if (request.isGood())
        device.breakDown(request);
    return {request.error(), {}};
}

ControlCommands::Outcome ControlCommands::repair(CheckedObject& request)
{
    DeskDevice& device = anyDevice(m_desk, request);
    if (request.error().isEmpty())
        device.repair();
    return {request.error(), {}};
}

ControlCommands::Outcome ControlCommands::putCard(CheckedObject& request)
{
    IdentityReaderDevice& reader = identityReader(m_desk, request);
    CheckedObject keys(request.object(QStringLiteral("card")));
    if (!request.error().isEmpty())
        return {request.error(), {}};
    const IdentityCard card = newCard(keys);
    if (keys.error().isEmpty())
        reader.putCard(card);
    return {keys.error(), {}};
}

ControlCommands::Outcome ControlCommands::changeCard(CheckedObject& request)
{
    IdentityReaderDevice& reader = identityReader(m_desk, request);
    CheckedObject keys(request.object(QStringLiteral("card")));
    if (!request.error().isEmpty())
        return {request.error(), {}};
    if (!reader.card())
        return {QStringLiteral("No card lies on the reader."), {}};
    const IdentityCard card = changedCard(*reader.card(), keys);
    if (keys.error().isEmpty())
        reader.putCard(card);
    return {keys.error(), {}};
}

ControlCommands::Outcome ControlCommands::takeCard(CheckedObject& request)
{
    IdentityReaderDevice& reader = identityReader(m_desk, request);
    if (!request.error().isEmpty())
        return {request.error(), {}};
    if (!reader.card())
        return {QStringLiteral("No card lies on the reader."), {}};
    reader.takeCard();
    return {};
}

ControlCommands::Outcome ControlCommands::setModule(CheckedObject& request)
{
    const QString module =
        request.choice(QStringLiteral("module"), {QStringLiteral("0501"), QStringLiteral("0503")});
    if (request.error().isEmpty())
        m_desk.usbReader().setModule(module);
    return {request.error(), {}};
}

ControlCommands::Outcome ControlCommands::insertSim(CheckedObject& request)
{
    static const QRegularExpression digits(QStringLiteral("\\A[0-9]{19,20}\\z"));
    const QString key = QStringLiteral("iccid");
    const QString iccid =
        request.has(key) ? request.text(key) : QStringLiteral("89860113456789012340");
    if (request.isGood() && !digits.match(iccid).hasMatch())
        request.complain(QStringLiteral("\"iccid\" must be 19 or 20 digits."));
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    const QString fault = simFault(m_desk.simReader());
    return {fault.isEmpty() ? m_desk.simReader().insertSim(iccid) : fault, {}};
}

ControlCommands::Outcome ControlCommands::pullSim(CheckedObject& request)
{
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    SimReaderDevice& reader = m_desk.simReader();
    if (!reader.isPlugged())
        return {notPlugged(QStringLiteral("simReader")), {}};
    if (!reader.hasSim())
        return {QStringLiteral("There is no SIM in the reader."), {}};
    reader.pullSim();
    return {};
}

ControlCommands::Outcome ControlCommands::pen(CheckedObject& request)
{
    const std::vector<PenPoint> points = penPoints(request);
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    if (!m_desk.pad().isPlugged())
        return {notPlugged(QStringLiteral("pad")), {}};
    return {{}, {{QStringLiteral("read"), m_desk.pad().write(points)}}};
}

ControlCommands::Outcome ControlCommands::setPicture(CheckedObject& request)
{
    const QString name =
        takenDevice(request, {QStringLiteral("documentCamera"), QStringLiteral("portraitCamera")});
    m_desk.camera(name).show(request);
    return {request.error(), {}};
}

ControlCommands::Outcome ControlCommands::log(CheckedObject& request)
{
    const QString pad = QStringLiteral("pad");
    const QString name =
        takenDevice(request, {pad, QStringLiteral("usbReader"), QStringLiteral("hidReader")});
    const QString key = QStringLiteral("clear");
    const bool clear = request.has(key) && request.boolean(key);
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    const QStringList lines = m_desk.takeLog(name, clear);
    return {{}, {{QStringLiteral("lines"), QJsonArray::fromStringList(lines)}}};
}

QJsonObject ControlCommands::takenWindow(CheckedObject& request) const
{
    const QString name = request.choice(windowKey, ServiceWindows::names());
    QJsonObject window = m_windows.window(name);
    if (window.isEmpty())
        request.complain(QStringLiteral("No window \"%1\" is open.").arg(name));
    return window;
}

// Buttons of the signing window are pressed with the pen, as by the customer.
ControlCommands::Outcome ControlCommands::press(CheckedObject& request)
{
    const QJsonObject window = takenWindow(request);
    const QString name = request.text(QStringLiteral("button"));
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    const QRect button = ServiceWindows::buttonOnDesktop(window, name);
    if (button.isNull())
        return {QStringLiteral("The window has no button \"%1\".").arg(name), {}};
    const QJsonValue display = window.value(QStringLiteral("padDisplay"));
    return {display.isObject() ? tapOnPad(button, ServiceWindows::place(display))
                               : ServiceWindows::click(button.center()),
            {}};
}

QString ControlCommands::tapOnPad(const QRect& button, const QRect& display)
{
    if (!m_desk.pad().isPlugged())
        return notPlugged(QStringLiteral("pad"));
    if (!display.contains(button.center()))
        return QStringLiteral("The button is not on the pad's display.");
    const QPoint pixel = button.center() - display.topLeft();
    return m_desk.pad().write(PadGeometry(display.size()).tap(pixel))
               ? QString()
               : QStringLiteral("No program reads the pad.");
}

ControlCommands::Outcome ControlCommands::screenshot(CheckedObject& request)
{
    QRect place;
    if (request.has(windowKey)) {
        place = ServiceWindows::place(takenWindow(request).value(QLatin1String("place")));
    } else {
        const QString main = QStringLiteral("main");
        const bool isMain =
            request.choice(QStringLiteral("display"), {main, QStringLiteral("pad")}) == main;
        place = isMain ? mainDisplay : padDisplay;
    }
    const QString error = request.error();
    if (!error.isEmpty())
        return {error, {}};
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    QGuiApplication::primaryScreen()
        ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
        .save(&buffer, "PNG");
    return {{}, {{QStringLiteral("png"), QString::fromLatin1(png.toBase64())}}};
}

ControlCommands::Outcome ControlCommands::startService(CheckedObject& request)
{
    return {request.error().isEmpty() ? m_service.start() : request.error(), {}};
}

ControlCommands::Outcome ControlCommands::stopService(CheckedObject& request)
{
    const QString error = request.error();
    if (error.isEmpty() && !m_service.isRunning())
        return {QStringLiteral("The service is not running."), {}};
    if (error.isEmpty())
        m_service.stop();
    return {error, {}};
}

ControlCommands::Outcome ControlCommands::killService(CheckedObject& request)
{
    const QString error = request.error();
    if (error.isEmpty() && !m_service.isRunning())
        return {QStringLiteral("The service is not running."), {}};
    if (error.isEmpty())
        m_service.kill();
    return {error, {}};
}

} // namespace virtual_desk
