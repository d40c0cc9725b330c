// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDialog>

/// \brief The interface of the capture window that the service uses. The window's class needs
/// OpenCV, which the service does not load before the first picture is requested (camera_module.h).
class CaptureDialog : public QDialog
{
public:
    using QDialog::QDialog;

    /// The picture as Base64 text (standard alphabet, padding, no line breaks) of a JPEG file;
    /// empty until the operator has closed the window with its own button, and when there is no
    /// picture.
    virtual QString getBase64() = 0;
};
