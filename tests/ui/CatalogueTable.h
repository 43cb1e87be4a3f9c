#pragma once

#include <QString>

namespace zk::test {

/** One text of the library in its three languages. */
struct CatalogueText
{
    const char* context;
    const char* source;
    const char16_t* french;
    const char16_t* german;
};

/** Every text that is translated. The no-break spaces of the French ones are written as escapes. */
constexpr CatalogueText catalogueTexts[] = {
    {"SoftwareUpdateGui", "At application start", u"Au démarrage du programme",
     u"Beim Programmstart"},
    {"SoftwareUpdateGui", "Check Now", u"Rechercher maintenant", u"Jetzt suchen"},
    {"SoftwareUpdateGui", "Check for updates:", u"Rechercher de nouveaux mises à jour\u00a0:",
     u"Nach Updates suchen:"},
    {"SoftwareUpdateGui", "Current version:", u"Version actuelle\u00a0:", u"Aktuelle Version:"},
    {"SoftwareUpdateGui", "Daily", u"Tous les jours", u"Täglich"},
    {"SoftwareUpdateGui", "Form", u"Formulaire", u"Form"},
    {"SoftwareUpdateGui", "Include beta versions", u"Inclure les versions beta",
     u"Beta-Versionen einschließen"},
    {"SoftwareUpdateGui", "Last check", u"Dernière recherche", u"Letzte Suche"},
    {"SoftwareUpdateGui", "Monthly", u"Tous les mois", u"Monatlich"},
    {"SoftwareUpdateGui", "Update server URL:", u"URL serveur de mise à jour\u00a0:",
     u"URL des Update-Servers:"},
    {"SoftwareUpdateGui", "Weekly", u"Hebdomadaire", u"Wöchentlich"},
    {"SoftwareUpdateGui", "You can search for new versions manually or automatically.",
     u"Vous pouvez rechercher les nouveaux mises à jour manuellement ou automatiquement.",
     u"Sie können manuell oder automatisch nach neuen Versionen suchen."},
    {"SoftwareUpdateDialogGui", "Check for Updates", u"Rechercher de nouveaux mises à jour",
     u"Nach Updates suchen"},
    {"SoftwareUpdateAvailableGui", "Download Package", u"Télécharger package",
     u"Paket herunterladen"},
    {"SoftwareUpdateAvailableGui",
     "For more information and updates visit <a href =\"http://" SOFTWAREUPDATE_MAKER_HOST
     "/other/Support/Software-Downloads\">" SOFTWAREUPDATE_MAKER_HOST "</a>",
     u"Pour de plus amples informations accédez à la rubrique <a href "
     u"=\"http://" SOFTWAREUPDATE_MAKER_HOST
     "/other/Support/Software-Downloads\">" SOFTWAREUPDATE_MAKER_HOST "</a>",
     u"Weitere Informationen und Updates finden Sie auf <a href "
     u"=\"http://" SOFTWAREUPDATE_MAKER_HOST
     "/ger_DE/Support/Software-Downloads\">" SOFTWAREUPDATE_MAKER_HOST "</a>."},
    {"SoftwareUpdateAvailableGui", "Install Package", u"Installer package", u"Paket installieren"},
    {"SoftwareUpdateAvailableGui", "Release Notes", u"Notes de publication", u"Versionsübersicht"},
    {"SoftwareUpdateAvailableGui", "Select Packages from List:",
     u"Sélectionner des packages de la liste\u00a0:", u"Wählen Sie Pakete aus der Liste aus:"},
    {"SoftwareUpdateAvailableGui", "Show all languages", u"Afficher tous les langues",
     u"Alle Sprachen anzeigen"},
    {"SoftwareUpdateAvailableGui", "Update Available", u"Mise à jour disponible",
     u"Update verfügbar"},
    {"SoftwareUpdateAvailableGui", "Update Settings...", u"Paramètres de mise à jour...",
     u"Update-Einstellungen..."},
    {"SoftwareUpdateAvailableGui",
     "You can download and install the package manually or start the installation immediately "
     "(only available for supported package types).",
     u"Vous pouvez télécharger et installer le package manuellement ou démarrer l'installation "
     u"immédiatement (seulement pour les types de package pris en charge).",
     u"Sie können das Paket manuell herunterladen und installieren oder die Installation sofort "
     u"starten (nur verfügbar für unterstützte Pakettypen)."},
    {"SoftwareUpdateClient",
     "After downloading the package, the installer will ask you to restart the application!",
     u"Après le téléchargement du package, l'installation va quitter automatiquement et "
     u"redémarrera l'application\u00a0!",
     u"Nach der Installation des Pakets wird die Anwendung automatisch beendet und neu gestartet!"},
    {"SoftwareUpdateClient", "Cancel Install", u"Annuler l'installation",
     u"Installation abbrechen"},
    {"SoftwareUpdateClient", "Congratulations! Your product is up-to-date!",
     u"Félicitations\u00a0! Votre produit est à jour\u00a0!",
     u"Herzlichen Glückwunsch! Ihr Produkt ist aktuell!"},
    {"SoftwareUpdateClient", "Download Error", u"Erreur lors du téléchargement",
     u"Download-Fehler"},
    {"SoftwareUpdateClient", "Download Progress", u"Progression du téléchargement",
     u"Download-Fortschritt"},
    {"SoftwareUpdateClient", "Error code %1", u"Code erreur %1", u"Fehlercode %1"},
    {"SoftwareUpdateClient", "File Size", u"Taille de fichier", u"Dateigröße"},
    {"SoftwareUpdateClient", "File Type", u"Format de fichier", u"Dateityp"},
    {"SoftwareUpdateClient", "Install Package", u"Installer package", u"Paket installieren"},
    {"SoftwareUpdateClient", "Installation failed", u"L'installation a échouée",
     u"Installation fehlgeschlagen"},
    {"SoftwareUpdateClient", "Installation process failed. If problem persists try manual install.",
     u"Le processus de l'installation a échoué. Si le problème persiste, veuillez essayer "
     u"l'installation manuelle.",
     u"Die Installation ist fehlgeschlagen. Führen Sie die Installation manuell durch, wenn das "
     u"Problem erneut auftritt."},
    {"SoftwareUpdateClient", "Languages", u"Langues", u"Sprachen"},
    {"SoftwareUpdateClient", "Multilingual", u"Multilingue", u"Mehrsprachig"},
    {"SoftwareUpdateClient", "Name", u"Nom", u"Name"},
    {"SoftwareUpdateClient", "No update available!", u"Aucune mise à jour disponible\u00a0!",
     u"Kein Update vorhanden!"},
    {"SoftwareUpdateClient", "Platforms", u"Plateformes", u"Plattformen"},
    {"SoftwareUpdateClient", "Please restart your application to finish the installation process.",
     u"Veuillez redémarrer l'application afin de finir le processus de l'installation.",
     u"Bitte starten Sie die Anwendung neu um die Installation abzuschließen."},
    {"SoftwareUpdateClient", "Proceed", u"Continuer", u"Weiter"},
    {"SoftwareUpdateClient", "Published on %1", u"Publiée le %1", u"Veröffentlicht am %1"},
    {"SoftwareUpdateClient", "Restart later", u"Redémarrer plus tard", u"Später neu starten"},
    {"SoftwareUpdateClient", "Restart now", u"Redémarrer maintenant", u"Jetzt neu starten"},
    {"SoftwareUpdateClient", "Restart required", u"Redémarrage obligatoire",
     u"Neustart erforderlich"},
    {"SoftwareUpdateClient", "Timeout error! Update server unreachable!",
     u"Erreur de délai d'attente\u00a0! Impossible de se connecter au serveur de mise à "
     u"jour\u00a0!",
     u"Fehler durch Zeitüberschreitung! Der Update-Server antwortet nicht!"},
    {"SoftwareUpdateClient", "Unknown package type! Installation cannot proceed!",
     u"Type de package inconnu\u00a0! Impossible de continuer le processus de "
     u"l'installation\u00a0!",
     u"Unbekannter Pakettyp! Die Installation kann nicht fortgesetzt werden!"},
    {"DownloadManager", "Downloaded file could not be unpacked:<br>",
     u"Impossible de décompresser le fichier téléchargé\u00a0:<br>",
     u"Die heruntergeladene Datei konnte nicht entpackt werden:<br>"},
    {"DownloadManager", "Select Installation Path for '%1'",
     u"Sélectionner le dossier d'installation pour '%1'",
     u"Installationsordner für '%1' auswählen"},
    {"DownloadManager", "Unpacking '%1'", u"Décompresser '%1'", u"'%1' wird entpackt"},
};

} // namespace zk::test
