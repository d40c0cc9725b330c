// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Logs why the capture library could not open a camera, for which it gives no reason: opens
/// /dev/video\p index and requests buffers, as the library does, which fails when another program
/// uses the camera. Does nothing while the category desk.camera is off.
void logUnopenedCamera(int index);
