// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "camera/capture_dialog.h"

#include <QImage>
#include <QStringList>

#include <opencv2/core/mat.hpp>
#include <opencv2/videoio.hpp>

class QTimer;

namespace Ui {
class CameraUser;
}

/// \brief The window in which the operator sees a camera's picture, chooses camera and resolution,
/// takes a picture and passes it on by closing the window with its own button.
///
/// The preview is driven by a timer on the GUI thread. A read returns the frame that has arrived
/// and never waits for one, so that a slow or silent camera does not block the service.
///
/// The picture is passed through the file "/tmp/kvo_cv.jpg", which every picture overwrites and
/// nothing deletes: a window in which no picture was taken, or none could be written, returns the
/// picture of an earlier window.
class CameraUser : public CaptureDialog
{
    Q_OBJECT

public:
    /// Looks for the cameras and opens the document camera. When that fails, the window closes
    /// itself as soon as it is shown.
    explicit CameraUser(QWidget* parent);
    ~CameraUser() override;

    QString getBase64() override;

    /// \brief Looks for the cameras, stores their capture indices and fills the camera selector.
    /// Prints what it found to standard output.
    /// \return 0, or -1 when there is none.
    int initCamera();

    /// \brief Looks for the first video device of one model.
    /// \param productId four lower-case hexadecimal digits; the product id is the first argument.
    /// \param vendorId four lower-case hexadecimal digits.
    /// \param devicePath receives the device's node, at most 127 characters and a terminating zero;
    /// not changed when there is none.
    /// \return 1 when there is such a device, 0 otherwise.
    int findCameraVideoPath(char* productId, char* vendorId, char* devicePath);

    /// \brief Older check for the cameras, with its own table (known_cameras.h). Prints what it
    /// found to standard output. Part of the fixed interface; nothing in the service calls it.
    /// \param first not changed.
    /// \param second set to the empty text.
    /// \return 0, or -1 when neither camera is there.
    int getSignInfo(QString& first, QString& second);

public Q_SLOTS:
    /// Opens the document camera at 640 x 480 and starts the preview.
    void openCamaraSlot();
    /// Shows the next frame; does nothing when there is none.
    void readFrameSlot();
    /// Closes the window; `getBase64` then returns the picture file.
    void closeCamaraSlot();
    /// Shows the last frame and writes it to the picture file; does nothing before a newly opened
    /// camera's first frame. A failure to write is logged and the window stays open; closing it
    /// returns what the file then holds.
    void takingPicturesSlot();
    /// Closes the window without a picture.
    void closeSlot();
    /// Opens the current camera again with the selected resolution.
    void print_s();
    /// Opens the chosen camera at 640 x 480. The entry's position decides: the first entry opens
    /// the document camera even when only the portrait camera is attached.
    void print_camera();

protected:
    void showEvent(QShowEvent* event) override;

private:
    bool openCamera(int index, int width, int height);
    void startPreview();
    void stopPreview();
    void giveUp();

    Ui::CameraUser* ui;
    // Part of the class's layout; always empty.
    QStringList m_cameraNames;
    QStringList m_cameraPaths;
    QString m_base64;
    cv::Mat m_frame; // 8 bits, blue, green, red
    cv::VideoCapture m_capture;
    QImage m_shown;
    QTimer* m_timer = nullptr;
    int m_currentIndex = 0;
    int m_documentIndex = 0;
    int m_portraitIndex = 0;
    bool m_closeWhenShown = false;
};
