// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>

/// \brief What the service sees of the capture window. The window itself needs OpenCV, which the
/// resident service does not load before the first picture is asked for (camera_module.h).
class CaptureDialog : public QDialog
{
public:
    using QDialog::QDialog;

    /// The picture as Base64 text (standard alphabet, padding, no line breaks) of a JPEG file;
    /// empty until the operator has closed the window with its own button, and when there is no
    /// picture.
    virtual QString getBase64() = 0;
};
