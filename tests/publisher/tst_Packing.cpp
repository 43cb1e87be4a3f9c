// Packages that `pack` makes, and folders that it refuses.

#include "Files.h"
#include "Rows.h"

#include "publisher/Commands.h"
#include "publisher/ManifestWriter.h"
#include "publisher/TreeComparison.h"

#include "support/ZipArchive.h"
#include "support/ZipReader.h"

#include <QDateTime>
#include <QDir>
#include <QRegExp>
#include <QTemporaryDir>

#include <ctime>
#include <fstream>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace publisher;
using namespace zk::test;

namespace {

/** A variable of the environment, until the end of the block. */
class Variable
{
public:
    Variable(const char* name, const QByteArray& value)
        : m_name(name)
        , m_before(qgetenv(name))
    {
        qputenv(name, value);
        update();
    }
    ~Variable()
    {
        m_before.isNull() ? qunsetenv(m_name) : qputenv(m_name, m_before);
        update();
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* m_name;
    QByteArray m_before;

    static void update()
    {
#ifdef Q_OS_UNIX
        ::tzset();
#endif
    }
};

} // namespace

class tst_Packing : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_temp;
    QDir m_folder;
    QString m_zip;

    void write(const QString& path, const QByteArray& bytes)
    {
        QVERIFY(QDir().mkpath(QFileInfo(m_folder.filePath(path)).path()));
        writeFile(m_folder.filePath(path), bytes);
    }
    int pack(const QStringList& options = {}) const
    {
        Console console;
        return packCommand(QStringList{u"pack"_s, m_folder.path(), m_zip} + options, console);
    }
    QByteArray packed(const QStringList& options = {}) const
    {
        return pack(options) == eFine ? readFile(m_zip) : QByteArray("failed");
    }
    static QStringList namesIn(const QString& path)
    {
        QStringList names;
        const zk::ZipArchive archive(path);
        for (const zk::ZipEntry& entry : archive.entries()) {
            names << entry.name;
        }
        return names;
    }

private slots:
    void init()
    {
        m_temp = std::make_unique<QTemporaryDir>();
        m_folder = QDir(m_temp->filePath(u"Camera Desk"_s));
        QVERIFY(m_folder.mkpath(u"empty/inner"_s));
        m_zip = m_temp->filePath(u"desk.zip"_s);
        write(u"b"_s, QByteArray(100'000, 'b'));
        write(u"a/æ.txt"_s, "text");
        write(u"a-b"_s, {});
        write(u"Z"_s, "z");
        QFile::setPermissions(m_folder.filePath(u"b"_s), QFile::Permissions(0x7700));
    }

    void makesTheSameBytesEverywhere()
    {
        const QByteArray first = packed();
        QCOMPARE(namesIn(m_zip),
                 (QStringList{u"Z"_s, u"a-b"_s, u"a/æ.txt"_s, u"b"_s, u"empty/inner/"_s}));
        // Another machine: other times, another order on the disk, another time zone.
        QVERIFY(m_folder.rename(u"b"_s, u"old"_s) &&
                QFile::copy(m_folder.filePath(u"old"_s), m_folder.filePath(u"b"_s)));
        QVERIFY(m_folder.remove(u"old"_s));
        QFile file(m_folder.filePath(u"b"_s));
        QVERIFY(file.open(QIODevice::ReadWrite) &&
                file.setFileTime(QDateTime(QDate(2001, 2, 3), QTime(4, 5), Qt::UTC),
                                 QFile::FileModificationTime));
        file.close();
        const Variable zone("TZ", "Asia/Tokyo");
        QCOMPARE(packed(), first);
    }

    void takesOneTimeForAll_data()
    {
        columns<QStringList, QByteArray, int, int>("options", "epoch", "date", "time");
        // As archives have them: years since 1980, month and day; hours, minutes, two seconds.
        constexpr int date = 46 << 9 | 9 << 5 | 14;
        constexpr int time = 9 << 11 | 30 << 5 | 2;
        row("the default", QStringList(), QByteArray(), 1 << 5 | 1, 0);
        row("a date", QStringList{u"--time"_s, u"2026-09-14"_s}, QByteArray("5"), date, 0);
        row("a date and a time", QStringList{u"--time"_s, u"2026-09-14 09:30:05"_s}, QByteArray(),
            date, time);
        row("the environment", QStringList(), QByteArray("1789378205"), date, time);
        row("too early", QStringList{u"--time"_s, u"1979-12-31"_s}, QByteArray(), -1, 0);
        row("too late", QStringList(), QByteArray("4354819200"), -1, 0);
        row("no time at all", QStringList(), QByteArray("now"), -1, 0);
    }
    void takesOneTimeForAll()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, epoch);
        QFETCH(int, date);
        QFETCH(int, time);
        const Variable zone("TZ", "America/New_York");
        const Variable given(epoch.isEmpty() ? "UNUSED" : "SOURCE_DATE_EPOCH", epoch);
        QCOMPARE(pack(options), int(date < 0 ? eUsage : eFine));
        if (date >= 0) {
            const QByteArray bytes = readFile(m_zip);
            const auto number = [&bytes](int at) {
                return int(quint8(bytes.at(at))) | int(quint8(bytes.at(at + 1))) << 8;
            };
            QCOMPARE(number(10), time);
            QCOMPARE(number(12), date);
        }
    }

    void unpacksToTheSameFolder()
    {
        QCOMPARE(pack(), int(eFine));
        const auto manifest = manifestOf(m_zip, {u"Desk"_s, {u"Win64"_s}, u"4.3"_s});
        const auto& expected = std::get<trust::PackageManifest>(manifest);
        zk::ZipReader zip(m_zip);
        zip.open(QIODevice::NotOpen);
        const QString unpacked = m_temp->filePath(u"unpacked"_s);
        zip.extractFiles(unpacked, QRegExp(), QString(), false, zip.fileList());
        QCOMPARE(differences(unpacked, expected), QStringList());
        QCOMPARE(differences(m_folder.path(), expected), QStringList());
#ifdef Q_OS_UNIX
        QCOMPARE(expected.files.at(2).path, std::string("a/æ.txt"));
        QCOMPARE(expected.files.at(2).mode, std::optional(0644U));
        QCOMPARE(expected.files.at(3).path, std::string("b"));
        QCOMPARE(expected.files.at(3).mode, std::optional(0755U));
#endif
    }

    void putsTheUnchangedFirstInTheOldOrder()
    {
        const QString old = m_temp->filePath(u"old.zip"_s);
        QCOMPARE(pack(), int(eFine));
        QVERIFY(QFile::rename(m_zip, old));
        write(u"Z"_s, "y"); // of the same size
        write(u"a-b"_s, "longer");
        write(u"0 new"_s, "new");
        QCOMPARE(pack({u"--previous"_s, old}), int(eFine));
        const QStringList second{u"a/æ.txt"_s, u"b"_s, u"empty/inner/"_s,
                                 u"0 new"_s,   u"Z"_s, u"a-b"_s};
        QCOMPARE(namesIn(m_zip), second);
        QVERIFY(QFile::remove(old) && QFile::rename(m_zip, old));
        // Not sorted any more: the order is that of the archive.
        write(u"b"_s, "changed");
        QCOMPARE(pack({u"--previous"_s, old}), int(eFine));
        QCOMPARE(namesIn(m_zip), (QStringList{u"a/æ.txt"_s, u"empty/inner/"_s, u"0 new"_s, u"Z"_s,
                                              u"a-b"_s, u"b"_s}));
        QCOMPARE(pack({u"--previous"_s, m_folder.filePath(u"b"_s)}), int(eFailed));
    }

#ifdef Q_OS_UNIX
    void refuses_data()
    {
        columns<QString>("what");
        for (const char* const name :
             {"link", "link to a folder", "pipe", "a:b", "Trailing.", "not UTF-8", "case clash",
              "installed manifest", "unreadable"}) {
            row(name, QString::fromLatin1(name));
        }
    }
    void refuses()
    {
        QFETCH(QString, what);
        const QString path = m_folder.filePath(u"a/x"_s);
        const QByteArray native = QFile::encodeName(path);
        if (what == u"link"_s) {
            QVERIFY(QFile::link(u"../b"_s, path));
        } else if (what == u"link to a folder"_s) {
            QVERIFY(QFile::link(u"../empty"_s, path));
        } else if (what == u"pipe"_s) {
            QCOMPARE(::mkfifo(native.constData(), 0600), 0);
        } else if (what == u"not UTF-8"_s) {
            std::ofstream((native + "\xff").constData()) << "x";
        } else if (what == u"case clash"_s) {
            write(u"A/Æ.txt"_s, "x");
        } else if (what == u"installed manifest"_s) {
            write(u".softwareupdate-manifest"_s, "x");
        } else if (what == u"unreadable"_s) {
            write(u"a/x"_s, "x");
            QFile::setPermissions(path, QFile::WriteOwner);
            if (QFile(path).open(QIODevice::ReadOnly)) {
                QSKIP("this user may read everything");
            }
        } else {
            write(u"a/"_s + what, "x");
        }
        writeFile(m_zip, "the last one");
        const int status = pack();
        ::unlink((native + "\xff").constData()); // which Qt cannot
        QCOMPARE(status, int(eFailed));
        QCOMPARE(readFile(m_zip), QByteArray("the last one"));
        QCOMPARE(QDir(m_temp->path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{u"desk.zip"_s});
    }
#endif

    void refusesFoldersAndTargets()
    {
        const auto status = [](const QString& folder, const QString& zip) {
            Console console;
            return packCommand({u"pack"_s, folder, zip}, console);
        };
        QCOMPARE(status(m_temp->filePath(u"missing"_s), m_zip), int(eFailed));
        QCOMPARE(status(m_folder.filePath(u"empty/inner"_s), m_zip), int(eFailed));
        QCOMPARE(status(m_folder.filePath(u"b"_s), m_zip), int(eFailed));
        QCOMPARE(status(m_folder.path(), m_folder.filePath(u"a/desk.zip"_s)), int(eFailed));
        QCOMPARE(status(m_folder.path(), m_temp->filePath(u"missing/desk.zip"_s)), int(eFailed));
        // A folder beside it whose name begins alike is another one.
        QVERIFY(QDir().mkpath(m_folder.path() + u" old"_s));
        QCOMPARE(status(m_folder.path(), m_folder.path() + u" old/desk.zip"_s), int(eFine));
        // The package cannot take the place of a folder, and leaves nothing behind.
        QVERIFY(QDir().mkpath(m_zip + u"/x"_s));
        QCOMPARE(status(m_folder.path(), m_zip), int(eFailed));
        QVERIFY(!QFile::exists(m_zip + u".partial"_s));
    }
};

QTEST_GUILESS_MAIN(tst_Packing)
#include "tst_Packing.moc"
