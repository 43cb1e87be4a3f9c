<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
  <context>
    <name>SoftwareUpdateGui</name>
    <message>
      <source>At application start</source>
      <translation>Au démarrage du programme</translation>
    </message>
    <message>
      <source>Check Now</source>
      <translation>Rechercher maintenant</translation>
    </message>
    <message>
      <source>Check for updates:</source>
      <translation>Rechercher de nouveaux mises à jour&#xa0;:</translation>
    </message>
    <message>
      <source>Current version:</source>
      <translation>Version actuelle&#xa0;:</translation>
    </message>
    <message>
      <source>Daily</source>
      <translation>Tous les jours</translation>
    </message>
    <message>
      <source>Form</source>
      <translation>Formulaire</translation>
    </message>
    <message>
      <source>Include beta versions</source>
      <translation>Inclure les versions beta</translation>
    </message>
    <message>
      <source>Last check</source>
      <translation>Dernière recherche</translation>
    </message>
    <message>
      <source>Monthly</source>
      <translation>Tous les mois</translation>
    </message>
    <message>
      <source>Update server URL:</source>
      <translation>URL serveur de mise à jour&#xa0;:</translation>
    </message>
    <message>
      <source>Weekly</source>
      <translation>Hebdomadaire</translation>
    </message>
    <message>
      <source>You can search for new versions manually or automatically.</source>
      <translation>Vous pouvez rechercher les nouveaux mises à jour manuellement ou automatiquement.</translation>
    </message>
  </context>
  <context>
    <name>SoftwareUpdateDialogGui</name>
    <message>
      <source>Check for Updates</source>
      <translation>Rechercher de nouveaux mises à jour</translation>
    </message>
  </context>
  <context>
    <name>SoftwareUpdateAvailableGui</name>
    <message>
      <source>Download Package</source>
      <translation>Télécharger package</translation>
    </message>
    <message>
      <source>For more information and updates visit &lt;a href =&quot;http://@SOFTWAREUPDATE_MAKER_HOST@/other/Support/Software-Downloads&quot;&gt;@SOFTWAREUPDATE_MAKER_HOST@&lt;/a&gt;</source>
      <translation>Pour de plus amples informations accédez à la rubrique &lt;a href =&quot;http://@SOFTWAREUPDATE_MAKER_HOST@/other/Support/Software-Downloads&quot;&gt;@SOFTWAREUPDATE_MAKER_HOST@&lt;/a&gt;</translation>
    </message>
    <message>
      <source>Install Package</source>
      <translation>Installer package</translation>
    </message>
    <message>
      <source>Release Notes</source>
      <translation>Notes de publication</translation>
    </message>
    <message>
      <source>Select Packages from List:</source>
      <translation>Sélectionner des packages de la liste&#xa0;:</translation>
    </message>
    <message>
      <source>Show all languages</source>
      <translation>Afficher tous les langues</translation>
    </message>
    <message>
      <source>Update Available</source>
      <translation>Mise à jour disponible</translation>
    </message>
    <message>
      <source>Update Settings...</source>
      <translation>Paramètres de mise à jour...</translation>
    </message>
    <message>
      <source>You can download and install the package manually or start the installation immediately (only available for supported package types).</source>
      <translation>Vous pouvez télécharger et installer le package manuellement ou démarrer l&apos;installation immédiatement (seulement pour les types de package pris en charge).</translation>
    </message>
  </context>
  <context>
    <name>SoftwareUpdateClient</name>
    <message>
      <source>After downloading the package, the installer will ask you to restart the application!</source>
      <translation>Après le téléchargement du package, l&apos;installation va quitter automatiquement et redémarrera l&apos;application&#xa0;!</translation>
    </message>
    <message>
      <source>Cancel Install</source>
      <translation>Annuler l&apos;installation</translation>
    </message>
    <message>
      <source>Congratulations! Your product is up-to-date!</source>
      <translation>Félicitations&#xa0;! Votre produit est à jour&#xa0;!</translation>
    </message>
    <message>
      <source>Download Error</source>
      <translation>Erreur lors du téléchargement</translation>
    </message>
    <message>
      <source>Download Progress</source>
      <translation>Progression du téléchargement</translation>
    </message>
    <message>
      <source>Error code %1</source>
      <translation>Code erreur %1</translation>
    </message>
    <message>
      <source>File Size</source>
      <translation>Taille de fichier</translation>
    </message>
    <message>
      <source>File Type</source>
      <translation>Format de fichier</translation>
    </message>
    <message>
      <source>Install Package</source>
      <translation>Installer package</translation>
    </message>
    <message>
      <source>Installation failed</source>
      <translation>L&apos;installation a échouée</translation>
    </message>
    <message>
      <source>Installation process failed. If problem persists try manual install.</source>
      <translation>Le processus de l&apos;installation a échoué. Si le problème persiste, veuillez essayer l&apos;installation manuelle.</translation>
    </message>
    <message>
      <source>Languages</source>
      <translation>Langues</translation>
    </message>
    <message>
      <source>Multilingual</source>
      <translation>Multilingue</translation>
    </message>
    <message>
      <source>Name</source>
      <translation>Nom</translation>
    </message>
    <message>
      <source>No update available!</source>
      <translation>Aucune mise à jour disponible&#xa0;!</translation>
    </message>
    <message>
      <source>Platforms</source>
      <translation>Plateformes</translation>
    </message>
    <message>
      <source>Please restart your application to finish the installation process.</source>
      <translation>Veuillez redémarrer l&apos;application afin de finir le processus de l&apos;installation.</translation>
    </message>
    <message>
      <source>Proceed</source>
      <translation>Continuer</translation>
    </message>
    <message>
      <source>Published on %1</source>
      <translation>Publiée le %1</translation>
    </message>
    <message>
      <source>Restart later</source>
      <translation>Redémarrer plus tard</translation>
    </message>
    <message>
      <source>Restart now</source>
      <translation>Redémarrer maintenant</translation>
    </message>
    <message>
      <source>Restart required</source>
      <translation>Redémarrage obligatoire</translation>
    </message>
    <message>
      <source>Timeout error! Update server unreachable!</source>
      <translation>Erreur de délai d&apos;attente&#xa0;! Impossible de se connecter au serveur de mise à jour&#xa0;!</translation>
    </message>
    <message>
      <source>Unknown package type! Installation cannot proceed!</source>
      <translation>Type de package inconnu&#xa0;! Impossible de continuer le processus de l&apos;installation&#xa0;!</translation>
    </message>
  </context>
  <context>
    <name>DownloadManager</name>
    <message>
      <source>Downloaded file could not be unpacked:&lt;br&gt;</source>
      <translation>Impossible de décompresser le fichier téléchargé&#xa0;:&lt;br&gt;</translation>
    </message>
    <message>
      <source>Select Installation Path for &apos;%1&apos;</source>
      <translation>Sélectionner le dossier d&apos;installation pour &apos;%1&apos;</translation>
    </message>
    <message>
      <source>Unpacking &apos;%1&apos;</source>
      <translation>Décompresser &apos;%1&apos;</translation>
    </message>
  </context>
</TS>
