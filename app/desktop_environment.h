// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Takes out of the environment and the toolkit's attributes what a desktop sets for ordinary
/// applications and what is wrong for the service. The toolkit reads it once, so this is called
/// before the application object is made.
void prepareDesktopEnvironment();
