// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The capture window: preview, selection of camera and resolution, taking the picture.

#include "camera/capture_window.h"

#include "camera/capture_resolutions.h"
#include "camera/capture_settings.h"
#include "camera/open_failure.h"
#include "camera/preview.h"
#include "files/fixed_file.h"
#include "ui_capture_window.h"

#include <QBuffer>
#include <QDebug>
#include <QFileInfo>
#include <QFont>
#include <QFontInfo>
#include <QTimer>

#include <opencv2/imgcodecs.hpp>

#include <exception>
#include <iterator>
#include <vector>

namespace {

constexpr int previewInterval = 33; // ms, about 30 pictures a second
// ms; when a window is closed before it is mapped, the window manager gives the focus to a window
// that no longer exists.
constexpr int closeDelay = 50;
constexpr char pictureFile[] = "/tmp/kvo_cv.jpg";

// The picture file, decoded and encoded again as JPEG by Qt; empty when it cannot be read.
QByteArray encodedPicture()
{
    const QString file = QString::fromLatin1(pictureFile);
    const QImage picture = QImage::fromData(FixedFile::read(file));
    QByteArray encoded;
    QBuffer buffer(&encoded);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, QFileInfo(file).suffix().toLatin1().constData());
    return encoded;
}

// Writes the picture file, and logs when that fails. Not with cv::imwrite, which would block when
// a FIFO has the file's name.
void writePicture(const cv::Mat& frame)
{
    try {
        std::vector<uchar> jpeg;
        if (!cv::imencode(".jpg", frame, jpeg)) {
            qWarning("cannot write %s: the frame could not be encoded", pictureFile);
            return;
        }
        FixedFile::write(QString::fromLatin1(pictureFile),
                         QByteArray::fromRawData(reinterpret_cast<const char*>(jpeg.data()),
                                                 static_cast<int>(jpeg.size())));
    } catch (const std::exception& failure) {
        qWarning("cannot write %s: %s", pictureFile, failure.what());
    }
}

// The form has fixed positions and labels of 60 by 22 pixels: larger letters would be cut off.
constexpr int largestFont = 18; // pixels

QFont fittingFont(QFont font)
{
    if (QFontInfo(font).pixelSize() > largestFont)
        font.setPixelSize(largestFont);
    return font;
}

} // namespace

CameraUser::CameraUser(QWidget* parent)
    : CaptureDialog(parent)
    , ui(new Ui::CameraUser)
{
    applyCaptureSettings();
    qWarning("CameraUser()++");
    ui->setupUi(this);
    setFont(fittingFont(font()));
    setWindowFlags(Qt::Tool | Qt::WindowStaysOnTopHint);
    initCamera();

    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &CameraUser::readFrameSlot);
    connect(ui->photoBtn, &QPushButton::clicked, this, &CameraUser::takingPicturesSlot);
    connect(ui->closeCamBtn, &QPushButton::clicked, this, &CameraUser::closeCamaraSlot);
    const auto chosen = QOverload<int>::of(&QComboBox::currentIndexChanged);
    connect(ui->comboBox, chosen, this, &CameraUser::print_s);
    connect(ui->comboBox_2, chosen, this, &CameraUser::print_camera);

    m_base64.clear();
    ui->lineEdit->hide();
    openCamaraSlot();
}

CameraUser::~CameraUser()
{
    qWarning("~CameraUser()--");
    delete ui;
}

QString CameraUser::getBase64()
{
    return m_base64;
}

void CameraUser::openCamaraSlot()
{
    m_currentIndex = m_documentIndex;
    if (openCamera(m_currentIndex, captureResolutions[0].width, captureResolutions[0].height))
        startPreview();
    else
        giveUp();
}

void CameraUser::readFrameSlot()
{
    // Not read(), which clears the frame when no next one is available: the picture shown could
    // then no longer be taken.
    try {
        if (!m_capture.grab() || !m_capture.retrieve(m_frame))
            return;
    } catch (const std::exception&) {
        return;
    }
    QImage shown = previewImage(m_frame, ui->cameraPic->size());
    if (shown.isNull())
        return;
    m_shown = std::move(shown);
    ui->cameraPic->setPixmap(QPixmap::fromImage(m_shown));
}

void CameraUser::takingPicturesSlot()
{
    if (!m_frame.data) {
        qWarning("cannot write %s: the camera has sent no frame yet", pictureFile);
        return;
    }
    m_shown = m_shown.scaled(ui->grabPic->size(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
    ui->grabPic->setPixmap(QPixmap::fromImage(m_shown));
    writePicture(m_frame);
}

void CameraUser::closeCamaraSlot()
{
    m_base64 = QString::fromLatin1(encodedPicture().toBase64());
    stopPreview();
    close();
}

void CameraUser::closeSlot()
{
    close();
}

void CameraUser::print_s()
{
    const int row = ui->comboBox->currentIndex();
    if (row < 0 || row >= static_cast<int>(std::size(captureResolutions)))
        return;
    const CaptureResolution& resolution = captureResolutions[row];
    ui->lineEdit->setText(QString::fromLatin1(resolution.text));
    stopPreview();
    if (openCamera(m_currentIndex, resolution.width, resolution.height))
        startPreview();
    else
        giveUp();
}

void CameraUser::print_camera()
{
    const int row = ui->comboBox_2->currentIndex();
    if (row != 0 && row != 1)
        return;
    stopPreview();
    m_currentIndex = row == 0 ? m_documentIndex : m_portraitIndex;
    ui->lineEdit->setText(QString::fromLatin1(captureResolutions[0].text));
    if (openCamera(m_currentIndex, captureResolutions[0].width, captureResolutions[0].height))
        startPreview();
    else
        giveUp();
    ui->comboBox->setCurrentIndex(0);
}

void CameraUser::showEvent(QShowEvent* event)
{
    CaptureDialog::showEvent(event);
    if (m_closeWhenShown) {
        m_closeWhenShown = false;
        QTimer::singleShot(closeDelay, this, &CameraUser::closeSlot);
    }
}

bool CameraUser::openCamera(int index, int width, int height)
{
    // A picture taken before the first frame arrives must not show the previous camera's frame.
    m_frame.release();
    try {
        m_capture.open(index, cv::CAP_ANY);
        m_capture.set(cv::CAP_PROP_FRAME_WIDTH, width);
        m_capture.set(cv::CAP_PROP_FRAME_HEIGHT, height);
        return m_capture.isOpened();
    } catch (const std::exception&) {
        m_capture.release();
        return false;
    }
}

void CameraUser::startPreview()
{
    m_timer->start(previewInterval);
}

void CameraUser::stopPreview()
{
    m_timer->stop();
    ui->cameraPic->setPixmap(QPixmap());
}

// A dialog that is closed before its exec() would still be shown by exec() and stay open;
// therefore the window is closed after it has been shown.
void CameraUser::giveUp()
{
    qDebug("open camera error");
    logUnopenedCamera(m_currentIndex);
    if (isVisible())
        close();
    else
        m_closeWhenShown = true;
}
