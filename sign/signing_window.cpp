// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/signing_window.h"

#include "diagnosis/log_secrets.h"
#include "sign/hid_writing_device.h"
#include "sign/saturated_cast.h"
#include "sign/session_state.h"
#include "sign/stroke.h"
#include "ui_signing_window.h"

#include <QBuffer>
#include <QCloseEvent>
#include <QDebug>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace {

// Ranges of the pad's sensor, in device units over the whole of its display.
constexpr int padRangeX = 21692;
constexpr int padRangeY = 13564;

constexpr int pngQuality = 20;
constexpr int buttonFontSize = 24; // pixels, on buttons of 60

// X11 window coordinates have 16 bits.
constexpr int coordinateLimit = 32767;
// Canvas, window surface and display server each hold a copy of the pixels: 64 MB each at this
// size.
constexpr double pixelLimit = 4096.0 * 4096.0;

QSize withinLimits(int width, int height)
{
    const QSize size(qBound(0, width, coordinateLimit), qBound(0, height, coordinateLimit));
    const double pixels = static_cast<double>(size.width()) * size.height();
    return pixels <= pixelLimit ? size : size * std::sqrt(pixelLimit / pixels);
}

int withinDesktop(qint64 coordinate)
{
    return static_cast<int>(std::clamp<qint64>(coordinate, -coordinateLimit, coordinateLimit));
}

QPoint windowOrigin()
{
    return {withinDesktop(qint64(g_SignData.screenX) + g_SignData.x),
            withinDesktop(qint64(g_SignData.screenY) + g_SignData.y)};
}

// A point of the window in coordinates of the desktop; doubles, because the stored position may be
// any int.
QPointF onDesktop(const QPoint& inWindow)
{
    return QPointF(inWindow) + QPointF(g_SignData.screenX, g_SignData.screenY) +
           QPointF(g_SignData.x, g_SignData.y);
}

QRectF onDesktop(const QWidget& widget)
{
    return {onDesktop(widget.pos()), widget.size()};
}

// Whether the pixel nearest to `point` is one of the rectangle's.
bool containsPixel(const QRectF& rectangle, const QPointF& point)
{
    const double x = std::round(point.x()) - rectangle.x();
    const double y = std::round(point.y()) - rectangle.y();
    return x >= 0 && x <= rectangle.width() - 1 && y >= 0 && y <= rectangle.height() - 1;
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui_MainWindow)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    placeOnPad();
    layOutUnseen();
    leaveWindowManagerOut();
    ui->labelTitle->setText(g_SignData.titleText);
    ui->btnCancel->setText(g_SignData.cancelText);
    ui->btnResign->setText(g_SignData.resignText);
    ui->btnOK->setText(g_SignData.okText);
    makeButtonsReadable();
    canvas = new QPixmap(ui->wgtHandwriting->size());
    canvas->fill(QColor::fromRgb(g_SignData.backgroundColor));
    ui->wgtHandwriting->setPixmap(*canvas);
}

MainWindow::~MainWindow()
{
    delete ui;
    delete canvas;
}

void MainWindow::placeOnPad()
{
    move(windowOrigin());
    setFixedSize(withinLimits(g_SignData.width, g_SignData.height));
    setWindowOpacity(g_SignData.transparency * 0.01);
}

QRect MainWindow::padDisplay()
{
    return {g_SignData.screenX, g_SignData.screenY, g_SignData.screenWidth,
            g_SignData.screenHeight};
}

// Activates the layout, from which the canvas takes its size. The window is not mapped for it:
// after a map and an unmap some window managers do not show the window again, or not on top.
void MainWindow::layOutUnseen()
{
    setAttribute(Qt::WA_DontShowOnScreen);
    show();
    hide();
    setAttribute(Qt::WA_DontShowOnScreen, false);
}

// Bypasses the window manager, which would activate the modal window (taking the keyboard from the
// clerk's page) and put full-screen windows above those that "stay on top". Only the flags of the
// native window are changed, not the widget's.
void MainWindow::leaveWindowManagerOut()
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    windowHandle()->setFlag(Qt::X11BypassWindowManagerHint);
}

// Black text on white in every theme of the desktop, and large enough for the pad's display.
void MainWindow::makeButtonsReadable()
{
    for (QPushButton* button : {ui->btnCancel, ui->btnResign, ui->btnOK}) {
        QPalette palette = button->palette();
        palette.setColor(QPalette::ButtonText, Qt::black);
        button->setPalette(palette);
        QFont font = button->font();
        font.setPixelSize(buttonFontSize);
        button->setFont(font);
    }
}

int MainWindow::exec()
{
    // Shown before exec(), which marks the window as modal first; a modal window would be activated
    // when it is mapped.
    show();
    return QDialog::exec();
}

void MainWindow::on_getDataOk(int x, int y, int p)
{
    static PenSample last{};
    const int lx = convertPhysicalTologicalValue(x, padRangeX, g_SignData.screenWidth);
    const int ly = convertPhysicalTologicalValue(y, padRangeY, g_SignData.screenHeight);
    const QPointF touch = QPointF(lx, ly) + QPointF(g_SignData.screenX, g_SignData.screenY);
    const QPointF local = touch - onDesktop(ui->wgtHandwriting->pos());
    DrawWgtHandWriting(saturatedInt(local.x()), saturatedInt(local.y()), p);
    showPressed(touch, p != 0);
    if (p == 0 && last.pressure != 0)
        clickButtonAt(touch);
    last = {x, y, p, 0};
}

// Shows the button under the pen as pressed while the pen is down, because the pad shows no
// pointer.
void MainWindow::showPressed(const QPointF& touch, bool penIsDown)
{
    for (QPushButton* button : {ui->btnCancel, ui->btnResign, ui->btnOK})
        button->setDown(penIsDown && containsPixel(onDesktop(*button), touch));
}

void MainWindow::clickButtonAt(const QPointF& touch)
{
    for (QPushButton* button : {ui->btnCancel, ui->btnResign, ui->btnOK}) {
        const QRectF rectangle = onDesktop(*button);
        const bool hit = containsPixel(rectangle, touch);
        if (button == ui->btnCancel) {
            qDebug("btnCancel_GloablRct x:%d,y:%d, w:%d,h:%d\r\n", saturatedInt(rectangle.x()),
                   saturatedInt(rectangle.y()), button->width(), button->height());
            if (logTellsAll())
                qDebug("currentTuchPt x:%f,y:%f\r\n", touch.x(), touch.y());
            if (hit)
                qDebug("btnCancel_GloablRct.contains(currentTuchPt) \r\n");
        }
        // After the session has ended, samples that were still queued must not click a second
        // button.
        if (hit && !closeAllowed)
            button->click();
    }
}

void MainWindow::DrawWgtHandWriting(int cx, int cy, int p)
{
    static PenSample last{};
    const PenSample sample{cx, cy, p, 0};
    if (p != 0) {
        const Stroke stroke(last, sample, g_SignData.penWidth, g_SignData.penColor);
        const QRect changed = stroke.bounds(canvas->size());
        if (!changed.isEmpty()) {
            // While the label shares the pixmap's data, painting would first copy all of it.
            ui->wgtHandwriting->setAttribute(Qt::WA_UpdatesDisabled);
            ui->wgtHandwriting->clear();
            stroke.paint(*canvas);
            showCanvas(changed);
        }
    }
    last = sample;
}

// Shows the canvas again, repainting no more than what changed (setPixmap alone repaints the whole
// label).
void MainWindow::showCanvas(const QRect& changed)
{
    ui->wgtHandwriting->setAttribute(Qt::WA_UpdatesDisabled);
    ui->wgtHandwriting->setPixmap(*canvas);
    ui->wgtHandwriting->setAttribute(Qt::WA_UpdatesDisabled, false);
    ui->wgtHandwriting->update(changed);
}

void MainWindow::on_btnOK_clicked()
{
    closeAllowed = true;
    QBuffer buffer;
    if (buffer.open(QIODevice::WriteOnly) && canvas->save(&buffer, "PNG", pngQuality)) {
        imageBase64 = buffer.data().toBase64();
        result = Signed;
    }
    close();
}

void MainWindow::on_btnCancel_clicked()
{
    if (!g_SignData.cancelDisabled)
        closeWith(Cancelled);
}

void MainWindow::on_btnResign_clicked()
{
    btnResign_clicked();
}

void MainWindow::btnResign_clicked()
{
    if (g_SignData.resignDisabled)
        return;
    canvas->fill(Qt::white);
    showCanvas(ui->wgtHandwriting->rect());
}

void MainWindow::onsEndSign()
{
    endedByCommand = true;
    closeWith(EndedByCommand);
}

void MainWindow::on_findDeviceErro()
{
    closeWith(DeviceNotFound);
}

void MainWindow::on_openDeviceErro()
{
    closeWith(DeviceNotOpened);
}

void MainWindow::on_readDataErro() {}

void MainWindow::closeWith(int outcome)
{
    closeAllowed = true;
    result = outcome;
    close();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    event->setAccepted(closeAllowed);
}

void MainWindow::reject() {}
