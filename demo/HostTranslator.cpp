#include "demo/HostTranslator.h"

#include <cstring>
#include <utility>

namespace demo {

namespace {

struct Text
{
    const char* english;
    const char* german;
    const char* french;
};

const Text texts[] = {
    {"&File", "&Datei", "&Fichier"},
    {"&Quit", "&Beenden", "&Quitter"},
    {"&Edit", "&Bearbeiten", "É&dition"},
    {"&Preferences...", "&Einstellungen...", "&Préférences..."},
    {"&Help", "&Hilfe", "&Aide"},
    {"Check for &updates", "Nach &Updates suchen", "&Rechercher des mises à jour"},
    {"Update &settings...", "Update-&Einstellungen...", "Paramètres de &mise à jour..."},
    {"&About Camera Desk", "&Über Camera Desk", "À &propos de Camera Desk"},
    {"About Camera Desk", "Über Camera Desk", "À propos de Camera Desk"},
    {"Version %1. Looks after the cameras of a site.",
     "Version %1. Verwaltet die Kameras eines Standorts.",
     "Version %1. Gère les caméras d'un site."},
    {"Camera", "Kamera", "Caméra"},
    {"Model", "Modell", "Modèle"},
    {"Firmware", "Firmware", "Micrologiciel"},
    {"Address", "Adresse", "Adresse"},
    {"Cameras", "Kameras", "Caméras"},
    {"Log", "Protokoll", "Journal"},
    {"Looking for updates ...", "Suche nach Updates ...", "Recherche de mises à jour ..."},
    {"Updates are available.", "Es gibt Updates.", "Des mises à jour sont disponibles."},
    {"Ready", "Bereit", "Prêt"},
    {"Preferences", "Einstellungen", "Préférences"},
    {"General", "Allgemein", "Général"},
    {"Updates", "Updates", "Mises à jour"},
    {"Show the log", "Protokoll anzeigen", "Afficher le journal"},
    {"Shade every other row", "Jede zweite Zeile hinterlegen", "Griser une ligne sur deux"},
};

} // namespace

HostTranslator::HostTranslator(QString language)
    : m_language(std::move(language))
{
}

bool HostTranslator::isEmpty() const
{
    return m_language != QLatin1String("de") && m_language != QLatin1String("fr");
}

QString HostTranslator::translate(const char* context, const char* sourceText,
                                  const char* /*disambiguation*/, int /*n*/) const
{
    if (isEmpty() || !context || std::strncmp(context, "demo::", std::strlen("demo::")) != 0) {
        return QString();
    }
    for (const Text& text : texts) {
        if (std::strcmp(text.english, sourceText) == 0) {
            return QString::fromUtf8(m_language == QLatin1String("de") ? text.german : text.french);
        }
    }
    return QString();
}

} // namespace demo
