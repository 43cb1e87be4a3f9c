#pragma once

#include "ClientFixture.h"
#include "DialogRobot.h"
#include "Environment.h"
#include "LogCapture.h"
#include "StandIn.h"

#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QDirIterator>
#include <QProgressDialog>

namespace zk::test {

/** A client that shows two packages, with a temporary folder and a user of its own. */
struct InstallFixture : ClientFixture
{
    LogCapture log;
    QTemporaryDir temporary;
    DialogRobot robot;
    ScopedTemporaryFolder temporaryFolder{temporary.filePath(u"tmp"_s)};
    /** Notes that it has been started, in a file beside itself. */
    QByteArray program = StandIn::bytes();

    explicit InstallFixture(const QByteArray& name = "setup.exe")
    {
        QDir(temporary.path()).mkdir(u"tmp"_s);
        robot.press(u"ask you to restart"_s, u"Proceed"_s);
        robot.press(u"Error code"_s, u"OK"_s);
        offer(name);
    }
    ~InstallFixture()
    {
        // Windows keeps the file of a program that has written its note and is about to end.
        QDir folder(temporary.filePath(u"tmp"_s));
        (void)QTest::qWaitFor([&folder] { return folder.removeRecursively(); });
    }

    /** Shows a package that lies on the server. */
    void offer(const QByteArray& name)
    {
        server.answer("/" + name, http(200, program));
        show(QUrl(QString::fromLatin1(name))); // beside the document
    }
    void show(const QUrl& url)
    {
        // All kinds of packages are taken for a candidate, as a host may have it.
        settings.values[AppSettings::UpdatePackageSuffixes] = QString();
        checkFor(packageElement("4.3", url.toEncoded()));
        QCOMPARE(client->state(), SoftwareUpdate::eUpdateAvailable);
    }
    void install(int i = 0) { QMetaObject::invokeMethod(client, "installPackage", Q_ARG(int, i)); }
    auto* available() const { return dialog<SoftwareUpdateAvailableDialog>(); }
    QProgressDialog* progress() const
    {
        return available() ? available()->findChild<QProgressDialog*>() : nullptr;
    }
    /** What lies in the temporary folder: names of files, or "folder" for an empty one. */
    QStringList leftovers() const { return found(false); }
    bool wasStarted() const { return !found(true).isEmpty(); }
    /** What has become of it: "window" where nothing was started or left and the offer stands. */
    QString end() const
    {
        QStringList words = leftovers();
        if (wasStarted()) {
            words.prepend(u"started"_s);
        }
        if (progress()) {
            words << u"progress"_s;
        }
        if (available() && available()->isVisible()) {
            words << u"window"_s;
        }
        words << errorBoxes() << log.lines(Log::eError);
        return words.join(u", "_s);
    }
    QStringList errorBoxes() const { return robot.seen().filter(u"Download Error: "_s); }

private:
    /** The notes of programs that were started, or all else. */
    QStringList found(bool areNotes) const
    {
        QStringList names;
        QDirIterator it(temporary.filePath(u"tmp"_s),
                        QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            const bool isFull = it.fileInfo().isDir() && !QDir(it.filePath()).isEmpty();
            if (!isFull && StandIn::isRecord(it.fileName()) == areNotes) {
                names << (it.fileInfo().isDir() ? u"folder"_s : it.fileName());
            }
        }
        return names;
    }
};

} // namespace zk::test
