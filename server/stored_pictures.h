// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

/// Deletes earlier customers' pictures: the holder's photo and both card faces in the working
/// directory, the signature and the camera's picture in /tmp. A warning names a file that cannot be
/// deleted.
void deleteStoredPictures();
