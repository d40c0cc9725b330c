// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include "idimage/photo/photo_tables.h"

namespace photo {

/// Direction of a line of a plane; rows are split before columns.
enum class Line { Row, Column };

/// Values in the high half that mark the origin of an object sample which stood alone at an odd
/// position and was moved into the low half: set when a row is split, when a column is split, and
/// when a column is split whose even sample was a row's marker.
constexpr std::int32_t RowMarker = 128;
constexpr std::int32_t ColumnMarker = 129;
constexpr std::int32_t ColumnOverMarker = 130;
/// The value that splitting a column tests for before it writes `ColumnOverMarker`; 80 in the
/// format.
constexpr std::int32_t OverMarkerTest = 80;

/// Splits a mask line of \p m entries: even positions to the low half, odd ones to the high half,
/// isolated object samples into the low half. \p in and \p out are different buffers of at least \p
/// m entries.
void splitMaskLine(const std::int32_t* in, std::int32_t* out, int m, Line line);

/// Undoes `splitMaskLine`, for a line of an even number of entries.
void mergeMaskLine(const std::int32_t* in, std::int32_t* out, int m, Line line);

/// True when the high half's value marks a low half that holds the sample of the odd position.
bool isMovedSample(std::int32_t high, Line line);

/// The object mask of the picture: 1 where `n` is above 0, else 0.
Plane objectMask();

/// Splits the top-left corner of a mask level by level, rows then columns, to where the
/// coefficients of a transform of \p levels levels stand (entries of 1).
Plane decomposeMask(const Plane& mask, int levels);

} // namespace photo
