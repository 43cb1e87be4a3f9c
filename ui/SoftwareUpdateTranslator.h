#pragma once

#include "support/Export.h"

#include <QTranslator>

class QLocale;

namespace zk {

/**
 * Translates all texts of the library, those of its Q_OBJECT classes included.
 *
 * The catalogues contain the texts of the client and the download manager in the contexts
 * "SoftwareUpdateClient" and "DownloadManager", while these classes look them up in
 * "zk::SoftwareUpdateClient" and "zk::DownloadManager". With a plain QTranslator they stay English;
 * this class maps both spellings.
 *
 * The host loads it, installs it with QCoreApplication::installTranslator() before the first dialog
 * is constructed, and keeps it alive:
 * @code zk::SoftwareUpdateTranslator translator; if (translator.load(QLocale())) {
 * QCoreApplication::installTranslator(&translator); }
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
     * English needs no catalogue: nothing is loaded for it, or if no language is known.
     * @return whether a catalogue was loaded; if not, the translator is empty.
     */
    [[nodiscard]] bool load(const QLocale& locale);

    /** Like QTranslator, also for the qualified class names. */
    QString translate(const char* context, const char* sourceText,
                      const char* disambiguation = nullptr, int n = -1) const override;
};

} // namespace zk
