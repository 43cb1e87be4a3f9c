#include "demo/HostTranslator.h"

#include <QCoreApplication>
#include <QRegularExpression>

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

/** A text of Qt that its catalogues lack; null for a language whose catalogue has it. */
struct QtText
{
    const char* context;
    const char* english;
    const char* german;
    const char* french;
};

constexpr char s_httpError[] = "Error transferring %1 - server replied: %2";

const QtText qtTexts[] = {
    {"QNetworkReply", s_httpError, nullptr,
     "Erreur lors du transfert de %1 - le serveur a répondu : %2"},
    {"QHttp", "Too many redirects", nullptr, "Trop de redirections"},
    {"QHttp", "Insecure redirect", nullptr, "Redirection non sécurisée"},
    {"QNativeSocketEngine", "Connection reset by peer", nullptr,
     "Connexion réinitialisée par le correspondant"},
    {"QNativeSocketEngine", "Network dropped connection on reset", nullptr,
     "Le réseau a rompu la connexion lors d'une réinitialisation"},
    {"QNetworkReplyHttpImplPrivate", "No suitable proxy found",
     "Es konnte kein geeigneter Proxy-Server gefunden werden", "Aucun proxy trouvé"},
    {"QSslSocket", "TLS initialization failed", nullptr, "Échec de l'initialisation de TLS"},
};

bool isHostContext(const char* context)
{
    return std::strncmp(context, "demo::", std::strlen("demo::")) == 0;
}

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
    if (isEmpty() || !context) {
        return QString();
    }
    const bool isGerman = m_language == QLatin1String("de");
    if (!isHostContext(context)) {
        for (const QtText& text : qtTexts) {
            if (std::strcmp(text.context, context) == 0 &&
                std::strcmp(text.english, sourceText) == 0) {
                return QString::fromUtf8(isGerman ? text.german : text.french);
            }
        }
        return QString();
    }
    for (const Text& text : texts) {
        if (std::strcmp(text.english, sourceText) == 0) {
            return QString::fromUtf8(isGerman ? text.german : text.french);
        }
    }
    return QString();
}

QString translatedMessage(const QString& message)
{
    static const QRegularExpression httpError(
        QStringLiteral("^Error transferring (\\S+) - server replied: (.*)$"),
        QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = httpError.match(message);
    return match.hasMatch() ? QCoreApplication::translate("QNetworkReply", s_httpError)
                                  .arg(match.captured(1), match.captured(2))
                            : message;
}

} // namespace demo
