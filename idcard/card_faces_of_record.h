// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/card_faces.h"

struct IDINFO;

/// The texts of a record that are painted on the front and on the back of the card's picture.
CardFaces::FrontTexts frontTexts(const IDINFO& info);
CardFaces::BackTexts backTexts(const IDINFO& info);
