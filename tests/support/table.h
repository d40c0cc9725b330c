// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QMetaType>
#include <QTest>

#include <initializer_list>
#include <tuple>
#include <utility>

// The rows of a table test, a line each, and the values of the row that runs:
//
//     void addsUp_data() { addRows<int, int>({{"nothing", 0, 0}, {"one", 1, 1}}); }
//     void addsUp()
//     {
//         const auto [summands, sum] = row<int, int>();
//
// Types of the table's own need Q_DECLARE_METATYPE.
namespace test_support {

/// Name of a column; a test refers to its values by their place alone.
template <std::size_t Column>
const char* columnName()
{
    static const QByteArray name = QByteArray::number(static_cast<int>(Column));
    return name.constData();
}

template <class... Values, std::size_t... Columns>
void addRows(std::initializer_list<std::tuple<const char*, Values...>> rows,
             std::index_sequence<Columns...>)
{
    (QTest::addColumn<Values>(columnName<Columns>()), ...);
    for (const auto& each : rows) {
        QTestData& data = QTest::newRow(std::get<0>(each));
        ((data << std::get<Columns + 1>(each)), ...);
    }
}

template <class... Values, std::size_t... Columns>
std::tuple<Values...> row(std::index_sequence<Columns...>)
{
    return {*static_cast<Values*>(QTest::qData(columnName<Columns>(), qMetaTypeId<Values>()))...};
}

} // namespace test_support

/// Adds the columns and the rows: a name, then a value of each type.
template <class... Values>
void addRows(std::initializer_list<std::tuple<const char*, Values...>> rows)
{
    test_support::addRows<Values...>(rows, std::index_sequence_for<Values...>());
}

/// The values of the row that runs, in the order of the columns.
template <class... Values>
std::tuple<Values...> row()
{
    return test_support::row<Values...>(std::index_sequence_for<Values...>());
}
