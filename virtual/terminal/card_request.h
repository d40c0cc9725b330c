// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/cards/identity_card.h"
#include "virtual/terminal/checked_object.h"

#include <QJsonObject>

namespace virtual_desk {

/// The card of a request: an invented holder's of the type asked for ("resident" when none is),
/// with the request's own texts, photo and fingerprints.
IdentityCard newCard(CheckedObject& request);

/// The same card with the request's texts, photo and fingerprints.
IdentityCard changedCard(const IdentityCard& card, CheckedObject& request);

/// The card's type and texts, and whether it holds fingerprints.
QJsonObject cardState(const IdentityCard& card);

} // namespace virtual_desk
