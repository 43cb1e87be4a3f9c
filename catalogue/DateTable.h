#pragma once

#include <QDateTime>
#include <QHash>

#include <vector>

namespace zk::UpdateDocument {

/** The release dates of a document by numbers. */
class DateTable
{
public:
    /**
     * The number of the date that @p text says.
     *
     * Packages share dates, and reading one asks the system for the time zone: of the first
     * thousand texts each is read once.
     */
    [[nodiscard]] quint32 numberOf(const QString& text);

    [[nodiscard]] const QDateTime& at(quint32 number) const { return m_dates[number]; }

private:
    QHash<QString, quint32> m_numbers;
    std::vector<QDateTime> m_dates;
};

} // namespace zk::UpdateDocument
