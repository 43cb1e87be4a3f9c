#pragma once

#include <QTranslator>

namespace demo {

/**
 * The host's own texts in German and French, and the network errors that Qt's own catalogue lacks;
 * kept in code, since there are few of them.
 */
class HostTranslator : public QTranslator
{
public:
    /** @p language: two letters; texts stay English for an unknown one. */
    explicit HostTranslator(QString language);

    [[nodiscard]] bool isEmpty() const override;
    QString translate(const char* context, const char* sourceText, const char* disambiguation,
                      int n) const override;

private:
    const QString m_language;
};

/**
 * @p message of the client in the user's language. Qt never looks up the text of an HTTP status,
 * although its catalogues have it; everything else is translated already.
 */
QString translatedMessage(const QString& message);

} // namespace demo
