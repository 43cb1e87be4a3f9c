#pragma once

#include <QTranslator>

namespace demo {

/** The host's own texts in German and French, kept in code: there are few of them. */
class HostTranslator : public QTranslator
{
public:
    /** @p language: two letters; one that is not known leaves everything English. */
    explicit HostTranslator(QString language);

    [[nodiscard]] bool isEmpty() const override;
    QString translate(const char* context, const char* sourceText, const char* disambiguation,
                      int n) const override;

private:
    const QString m_language;
};

} // namespace demo
