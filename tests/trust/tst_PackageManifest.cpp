// What a package manifest may say, and what is refused.

#include "../support/Rows.h"

#include "trust/EntryName.h"
#include "trust/PackageManifest.h"

#include <QTest>

#include <string>

using namespace zk;
using namespace zk::test;

namespace {

std::string hexDigits(char digit)
{
    return std::string(64, digit);
}

/** Two files, one of them deflated, and a folder. */
std::string good()
{
    const std::string some = hexDigits('a');
    const std::string other = hexDigits('b');
    return "softwareupdate-manifest 1\n"
           "product Camera Desk\n"
           "platform Win64\n"
           "platform Win 32\n"
           "release 4.3.0\n"
           "archive 1000 " +
           some + " desk 4.3.zip\n" + "folder plug ins\n" + "file 40 100 " + some +
           " deflated 400 " + other + " 755 bin/desk.exe\n" + "file 200 300 " + some +
           " stored 300 " + some + " - read me.txt\n" + "file 0 0 " + some + " stored 0 " + some +
           " 644 empty\n";
}

std::string refusal(const std::string& text)
{
    const auto result = trust::parseManifest(text);
    const auto* const complaint = std::get_if<std::string>(&result);
    return complaint ? *complaint : std::string();
}

} // namespace

class tst_PackageManifest : public QObject
{
    Q_OBJECT

private slots:
    void readsWhatItWrites()
    {
        const auto result = trust::parseManifest(good());
        QVERIFY2(refusal(good()).empty(), refusal(good()).c_str());
        const auto& manifest = std::get<trust::PackageManifest>(result);
        QCOMPARE(manifest.product, std::string("Camera Desk"));
        QCOMPARE(manifest.platforms.back(), std::string("Win 32"));
        QCOMPARE(manifest.archive, std::string("desk 4.3.zip"));
        QCOMPARE(manifest.files[0].mode, std::optional(0755U));
        QCOMPARE(manifest.files[1].path, std::string("read me.txt"));
        QVERIFY(!manifest.files[1].mode);
        QCOMPARE(trust::manifestText(manifest), good());
    }

    void ignoresWhatItDoesNotKnow()
    {
        std::string text = good() + "patchwork 1 2 3\n\nfuture\n";
        QCOMPARE(refusal(text), std::string());
    }

    void refuses_data()
    {
        columns<QByteArray, QByteArray, QByteArray>("old", "text", "complaint");
        const auto change = [](const char* name, const QByteArray& old, const QByteArray& text,
                               const QByteArray& complaint) { row(name, old, text, complaint); };
        change("another format", "manifest 1", "manifest 2", "line 1 ");
        change("no product", "product Camera Desk\n", "", "does not name");
        change("no platform", "platform", "platfrom", "does not name");
        change("two releases", "release 4.3.0\n", "release 4.3.0\nrelease 4.4\n", "line 6 ");
        change("a number with a sign", "file 40 ", "file -40 ", "line 8 ");
        change("a number beyond all files", "file 40 ", "file 18446744073709551615 ", "line 8 ");
        change("a number with blanks", "file 40 ", "file  40 ", "line 8 ");
        change("a short hash", "aaaa deflated", " deflated", "line 8 ");
        change("digits that are none", "aaaa deflated", "aaag deflated", "line 8 ");
        change("another method", " deflated ", " lzma ", "line 8 ");
        change("a mode with setuid", " 755 ", " 4755 ", "line 8 ");
        change("a mode that is decimal", " 755 ", " 789 ", "line 8 ");
        change("no path", " 755 bin/desk.exe", " 755 ", "line 8 ");
        change("a path that leads out", "bin/desk.exe", "../desk.exe", "leads out");
        change("an absolute path", "bin/desk.exe", "/bin/desk.exe", "absolute");
        change("a drive", "bin/desk.exe", "c:desk.exe", "drive");
        change("a device", "bin/desk.exe", "bin/COM\u00b2.x", "device");
        change("a C1 control", "bin/desk.exe", "bin/\u0085", "control");
        change("a folder as a file", "bin/desk.exe", "bin/", "empty folder name");
        change("no UTF-8", "bin/desk.exe", "bin/\xc0\xaf", "not UTF-8");
        change("a surrogate", "bin/desk.exe", "bin/\xed\xa0\x80", "not UTF-8");
        change("the installed manifest", "bin/desk.exe", ".SoftwareUpdate-Manifest", "installed");
        change("below the installed manifest", "bin/desk.exe", ".softwareupdate-manifest/x",
               "installed");
        change("twice", "bin/desk.exe", "empty", "twice");
        change("a folder that is a file", "folder plug ins", "folder empty", "twice");
        change("overlapping bytes", "file 200 ", "file 139 ", "shares its bytes");
        change("not in order", "file 40 ", "file 600 ", "shares its bytes");
        change("outside the archive", "archive 1000", "archive 499", "outside");
        change("more than deflate can do", "deflated 400 ", "deflated 9999999 ", "size");
        change("nothing that becomes something", " 40 100 ", " 40 0 ", "size");
        change("stored, of another size", "stored 300", "stored 301", "not the same");
        change("stored, of another hash", QByteArray::fromStdString("stored 300 " + hexDigits('a')),
               QByteArray::fromStdString("stored 300 " + hexDigits('b')), "not the same");
    }
    void refuses()
    {
        QFETCH(QByteArray, old);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, complaint);
        QByteArray manifest = QByteArray::fromStdString(good());
        QVERIFY(manifest.contains(old));
        manifest.replace(old, text);
        const std::string actual = refusal(manifest.toStdString());
        QVERIFY2(actual.find(complaint.toStdString()) != std::string::npos, actual.c_str());
    }

    void isLimited()
    {
        std::string many = good();
        for (std::size_t i = 0; i < trust::maximumManifestEntries; ++i) {
            many += "folder " + std::to_string(i) + '\n';
        }
        QVERIFY(refusal(many).find("more than 200000") != std::string::npos);
        QCOMPARE(refusal(std::string(trust::maximumManifestSize + 1, 'x')),
                 std::string("it is too large"));
    }
};

QTEST_APPLESS_MAIN(tst_PackageManifest)
#include "tst_PackageManifest.moc"
