// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Logs why the capture library could not open a camera, which it does not say itself: by opening
/// /dev/video\p index and asking for its buffers, as the library does, which fails on a camera that
/// another program uses. Does nothing while the category desk.camera is off.
void logUnopenedCamera(int index);
