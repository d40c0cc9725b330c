// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "idcard/card_faces_of_record.h"

#include "idcard/id_info.h"
#include "idcard/id_info_text.h"

CardFaces::FrontTexts frontTexts(const IDINFO& info)
{
    return {fieldText(info.name),     fieldText(info.gender),  fieldText(info.nation),
            fieldText(info.birthday), fieldText(info.address), fieldText(info.idNum)};
}

CardFaces::BackTexts backTexts(const IDINFO& info)
{
    return {fieldText(info.issueOrg), fieldText(info.effectDate), fieldText(info.expireDate)};
}
