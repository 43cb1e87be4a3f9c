#pragma once

#include "support/Export.h"

#include <QTranslator>

class QLocale;

namespace zk {

/**
 * Translates all texts of the library, those of its classes included.
 *
 * The catalogues hold the texts of the client and the download manager under "SoftwareUpdateClient"
 * and "DownloadManager", while these classes ask for "zk::SoftwareUpdateClient" and
 * "zk::DownloadManager". With a plain QTranslator they therefore stay English; this one answers for
 * both spellings.
 *
 * The host loads it, installs it with QCoreApplication::installTranslator() before the first dialog
 * is built, and keeps it alive:
 * @code
 * zk::SoftwareUpdateTranslator translator;
 * if (translator.load(QLocale())) {
 *     QCoreApplication::installTranslator(&translator);
 * }
 * @endcode
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateTranslator : public QTranslator
{
    Q_OBJECT

public:
    /** Empty until load(). Owned by @p parent, if there is one. */
    explicit SoftwareUpdateTranslator(QObject* parent = nullptr);

    /**
     * Loads the catalogue for the first of the user's preferred languages that the library knows.
     *
     * English is known without a catalogue: nothing is loaded then, and nothing if no language is
     * known.
     * @return whether a catalogue was loaded; if not, the translator is empty.
     */
    [[nodiscard]] bool load(const QLocale& locale);

    /** As QTranslator does, for the qualified names of the classes too. */
    QString translate(const char* context, const char* sourceText,
                      const char* disambiguation = nullptr, int n = -1) const override;
};

} // namespace zk
