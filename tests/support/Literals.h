#pragma once

#include <QString>

#if QT_VERSION >= QT_VERSION_CHECK(6, 4, 0)
using namespace Qt::StringLiterals;
#else
/** u"..."_s is a QString, as Qt has it from 6.4 on. */
inline QString operator""_s(const char16_t* text, std::size_t size)
{
    return QString(reinterpret_cast<const QChar*>(text), int(size));
}
#endif
