// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "app/desktop_environment.h"

#include "toolkit/qt_versions.h"

#include <QtGlobal>

namespace {

// The windows are painted without OpenGL, whose drivers the first window would load: 50 MB for as
// long as the service runs.
void leaveOpenGlOut()
{
    const char* integration = "QT_XCB_GL_INTEGRATION";
    if (!qEnvironmentVariableIsSet(integration))
        qputenv(integration, "none");
}

// Pages give the positions of the pad's display and of the window in physical pixels, and pen
// samples are converted to physical pixels. On a desktop that is scaled to 125 %, by factors in the
// environment or by the monitors' resolution, Qt would use larger logical pixels.
void countInPhysicalPixels()
{
    for (const char* factor : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS",
                               "QT_AUTO_SCREEN_SCALE_FACTOR", "QT_DEVICE_PIXEL_RATIO"})
        qunsetenv(factor);
    qt_versions::ignoreMonitorResolution();
}

// A session manager asks its applications to close before a logout, and the signing window would
// refuse and stop the logout. The session manager would also restart the program at the next login,
// without its launcher.
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
