#pragma once

#include "Literals.h"

#include <QStringList>
#include <QTest>

namespace zk::test {

/** The columns of a data table, by type and name. */
template <typename... Types, typename... Names>
void columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}

/** One row of a data table: its name, then a value for each column. */
template <typename... Values>
void row(const QByteArray& name, const Values&... values)
{
    (QTest::newRow(name.constData()) << ... << values);
}

/** The lines of @p text as a list. */
inline QStringList lines(const QByteArray& text)
{
    return QString::fromUtf8(text).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace zk::test
