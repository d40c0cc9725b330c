// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "virtual/cards/identity_card.h"
#include "virtual/terminal/checked_object.h"

#include <QJsonObject>

namespace virtual_desk {

/// The card of a request: the invented holder's card of the requested type ("resident" by default),
/// with the texts, photo and fingerprints of the request.
IdentityCard newCard(CheckedObject& request);

/// The same card with the request's texts, photo and fingerprints.
IdentityCard changedCard(const IdentityCard& card, CheckedObject& request);

/// The card's type and texts, and whether it has fingerprints.
QJsonObject cardState(const IdentityCard& card);

} // namespace virtual_desk
