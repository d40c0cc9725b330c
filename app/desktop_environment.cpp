// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/desktop_environment.h"

#include "toolkit/qt_versions.h"

#include <QtGlobal>

namespace {

// The windows are painted without OpenGL. Its drivers, which the first window would load, hold 50
// MB for as long as the service runs.
void leaveOpenGlOut()
{
    const char* integration = "QT_XCB_GL_INTEGRATION";
    if (!qEnvironmentVariableIsSet(integration))
        qputenv(integration, "none");
}

// Pages give the place of the pad's display and of the window in physical pixels, and the pen is
// counted in them. On a desktop that is set to 125 % the toolkit would count in larger ones: by
// factors in the environment, or by the monitors' resolution.
void countInPhysicalPixels()
{
    for (const char* factor : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS",
                               "QT_AUTO_SCREEN_SCALE_FACTOR", "QT_DEVICE_PIXEL_RATIO"})
        qunsetenv(factor);
    qt_versions::ignoreMonitorResolution();
}

// A session manager asks its applications before a logout, and the signing window refuses to be
// closed. It would also start the program anew at the next login, without its launcher.
void stayOutOfSessionManagement()
{
    qunsetenv("SESSION_MANAGER");
}

} // namespace

void prepareDesktopEnvironment()
{
    leaveOpenGlOut();
    countInPhysicalPixels();
    stayOutOfSessionManagement();
}
