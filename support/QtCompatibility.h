#pragma once

#include <QNetworkRequest>
#include <QRegExp>
#include <QSettings>
#include <QStringList>
#include <QVariant>

/**
 * Where Qt 5 and Qt 6 do different things, or ask for different calls: one function for each, which
 * does what Qt 5 does by itself.
 */
namespace zk::QtCompatibility {

/** Has INI files hold UTF-8, as they always do in Qt 6. */
inline void useUtf8([[maybe_unused]] QSettings& settings)
{
#if QT_VERSION_MAJOR < 6
    settings.setIniCodec("UTF-8");
#endif
}

/** Whether @p value is invalid or holds a null text. */
inline bool isNull(const QVariant& value)
{
    // Qt 6 asks no longer what a variant holds.
    return value.isNull() || (value.userType() == QMetaType::QString && value.toString().isNull());
}

/** The parts of @p text between matches of @p separator. */
inline QStringList split(const QString& text, const QRegExp& separator, Qt::SplitBehavior behavior)
{
#if QT_VERSION_MAJOR < 6
    return text.split(separator, behavior);
#else
    return separator.splitString(text, behavior); // QString knows no QRegExp any more
#endif
}

/** Inflates whatever comes: Qt 6 would refuse what is more than 40 times as large as it arrives. */
inline void trustCompression([[maybe_unused]] QNetworkRequest& request)
{
#if QT_VERSION_MAJOR >= 6
    request.setDecompressedSafetyCheckThreshold(-1);
#endif
}

/** Leaves redirects to the caller, and keeps to HTTP/1.1. */
inline void usePlainHttp(QNetworkRequest& request)
{
    // Qt 6 would follow redirects by itself, without the rules of the library.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    // Qt 6 would prefer HTTP/2, whose errors have other codes and texts.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
}

} // namespace zk::QtCompatibility
