// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Changes the settings that a desktop makes for ordinary applications and that are wrong for the
/// service: OpenGL, scaling by the monitors' resolution, session management. Qt reads them once, so
/// this is called before the application object is created.
void prepareDesktopEnvironment();
