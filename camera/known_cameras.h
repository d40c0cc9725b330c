// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// The cameras that are built into the terminals, by USB identifier. Nothing else that udev reports
/// tells the two cameras apart, and their order of enumeration is not fixed.

/// \brief One camera model: four lower-case hexadecimal digits each, exactly as udev writes
/// ID_VENDOR_ID and ID_MODEL_ID, with a terminating zero.
struct KnownCamera
{
    char vendor[5];
    char product[5];
};

/// The document camera's models, in the order in which they are looked for.
constexpr KnownCamera documentCameras[] = {{"0c45", "6366"}, {"1bcf", "8001"}};

/// The portrait camera's models, in the order in which they are looked for.
constexpr KnownCamera portraitCameras[] = {{"1b17", "6685"}, {"1b17", "6684"}};

/// The models of the older check, CameraUser::getSignInfo. They differ from those above on purpose:
/// it looks for the cameras of the first generation of terminals.
constexpr KnownCamera probedDocumentCameras[] = {{"0c45", "6366"}};
constexpr KnownCamera probedPortraitCameras[] = {{"1b17", "6685"}, {"1b17", "0209"}};
