// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

namespace virtual_desk {

/// \brief The built-in pictures of a virtual camera.
enum class Scene {
    TestCard, ///< colour bars
    Document, ///< a printed form with a red stamp
    Portrait, ///< head and shoulders
};

/// \brief The scene without the frame band; RGB32. The scene is stretched to the size. Needs no
/// application object.
QImage drawScene(Scene scene, QSize size);

/// \brief The frame band: it covers the top of the scene and shows the frame's number, as sixteen
/// black and white squares for programs and in digits for people. RGB32, as wide as the picture.
/// \param frame 0 to 65535.
QImage drawFrameBand(QSize pictureSize, int frame);

/// \brief Reads the frame's number from the band of a picture of any size, for instance after JPEG
/// compression.
/// \return 0 to 65535, or -1 when the picture has no band.
int readFrameNumber(const QImage& picture);

/// \brief The mean difference of two pictures per pixel and colour, 0 to 255, after \p picture has
/// been scaled to the size of \p expected; the frame band is left out.
double sceneDifference(const QImage& picture, const QImage& expected);

/// \brief The middle of a picture at a size that may have other proportions; RGB32.
QImage fillSize(const QImage& picture, QSize size);

/// \brief What a broken camera sends: that many bytes of noise, always the same.
QByteArray pictureNoise(int length);

/// \brief Rows of a picture as packed 4:2:2 video (Y U Y V; ITU-R BT.601, limited range). The width
/// is even.
QByteArray packYuyv(const QImage& rows);

} // namespace virtual_desk
