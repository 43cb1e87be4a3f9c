#include "demo/DemoContent.h"

#include "demo/Archive.h"
#include "demo/Cameras.h"
#include "demo/UpdateServer.h"

#include <QRandomGenerator>
#include <QStringList>
#include <QXmlStreamWriter>

namespace demo {

namespace {

constexpr int megabyte = 1024 * 1024;
constexpr int downloadTime = 3000;

struct Release
{
    QString version;
    QString publicVersion;
    QString status;
    QString date;
    QString comment;
};

struct Firmware
{
    int model;
    QString languages;
    QString date;
};

/** Incompressible bytes, the same for the same @p seed. */
QByteArray generatedBytes(quint32 seed, int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), size / int(sizeof(quint32)));
    for (int i = size - size % int(sizeof(quint32)); i < size; ++i) {
        bytes[i] = char(seed);
    }
    return bytes;
}

/** Writes the document and publishes the files and pages that it links to. */
class Publisher
{
public:
    explicit Publisher(UpdateServer& server)
        : m_server(server)
        , m_xml(&m_document)
    {
    }

    void publish()
    {
        m_xml.setAutoFormatting(true);
        m_xml.writeStartDocument();
        m_xml.writeStartElement(QStringLiteral("softwareList"));
        attribute("base-url", m_server.url(QStringLiteral("/packages/")).toString());
        writeProduct();
        writeFirmware();
        m_xml.writeEndDocument();
        m_server.setDocument(m_document);
    }

private:
    UpdateServer& m_server;
    QByteArray m_document;
    QXmlStreamWriter m_xml;
    quint32 m_seed = 0;

    /** All sizes differ: packages with the same date and size count as the same package. */
    QByteArray nextBytes(int size)
    {
        ++m_seed;
        return generatedBytes(m_seed, size + int(m_seed) * 54321);
    }

    void attribute(const char* name, const QString& value)
    {
        m_xml.writeAttribute(QLatin1String(name), value);
    }

    void writeProduct()
    {
        m_xml.writeStartElement(QStringLiteral("package-set"));
        attribute("type", QStringLiteral("Application"));
        attribute("name", productName());
        attribute("public-name", productName());
        attribute("language", QStringLiteral("en de fr"));
        writeRelease({QStringLiteral("4.3.0"), QStringLiteral("4.3"), QStringLiteral("STABLE"),
                      QStringLiteral("2026-09-14 09:30:00"),
                      QStringLiteral("Groups of cameras, faster start, many corrections")});
        writeRelease({QStringLiteral("4.4.0-beta"), QStringLiteral("4.4"), QStringLiteral("BETA"),
                      QStringLiteral("2026-11-02 16:00:00"),
                      QStringLiteral("Try the new map view before everyone else")});
        m_xml.writeEndElement();
    }

    void writeRelease(const Release& release)
    {
        m_xml.writeStartElement(QStringLiteral("package-set"));
        attribute("release", release.version);
        attribute("public-release", release.publicVersion);
        attribute("status", release.status);
        attribute("release-date", release.date);
        attribute("comment", release.comment);
        for (const char* const platform : {"Win32", "Win64"}) {
            writeProductPackage(release, QLatin1String(platform), QStringLiteral("exe"));
            writeProductPackage(release, QLatin1String(platform), QStringLiteral("zip"));
        }
        m_xml.writeEndElement();
    }

    void writeProductPackage(const Release& release, const QString& platform, const QString& suffix)
    {
        const QString path = packagePath(release.version, platform.toLower(), suffix);
        const QByteArray program = nextBytes(3 * megabyte);
        m_xml.writeStartElement(QStringLiteral("package"));
        attribute("platform", platform);
        writeFile(path,
                  suffix == QLatin1String("zip") ? productArchive(release, program) : program);
        for (const char* const language : {"en", "de", "fr"}) {
            writeNotes("release-notes", QLatin1String(language),
                       QStringLiteral("camera-desk-%1").arg(release.version),
                       QStringLiteral("%1 %2").arg(productName(), release.publicVersion),
                       release.comment);
        }
        writeNotes("readme", QStringLiteral("en"), QStringLiteral("camera-desk"), productName(),
                   QStringLiteral("Close the application before you install an update by hand."));
        m_xml.writeEndElement();
    }

    QByteArray productArchive(const Release& release, const QByteArray& program)
    {
        return storedZip(
            {{QStringLiteral("CameraDesk.exe"), program, true},
             {QStringLiteral("version.txt"), release.version.toUtf8() + QByteArray("\n"), false},
             {QStringLiteral("help/index.html"), "<h1>Camera Desk</h1>\n", false}});
    }

    void writeFirmware()
    {
        const QList<CameraModel> models = cameraModels();
        m_xml.writeStartElement(QStringLiteral("package-set"));
        attribute("type", QStringLiteral("Camera Firmware"));
        attribute("status", QStringLiteral("STABLE"));
        const QString both = QStringLiteral("de en");
        const QString french = QStringLiteral("fr");
        const QString german = QStringLiteral("de");
        const Firmware packages[] = {
            {0, both, QStringLiteral("2026-10-05 08:00:00")},
            {0, french, QStringLiteral("2026-10-07 08:00:00")},
            {1, both, QStringLiteral("2026-08-20 11:15:00")},
            {1, french, QStringLiteral("2026-08-21 11:15:00")},
            {2, german, QStringLiteral("2026-10-28 14:45:00")},
        };
        for (const Firmware& firmware : packages) {
            writeFirmwarePackage(models.at(firmware.model), firmware);
        }
        m_xml.writeEndElement();
    }

    void writeFirmwarePackage(const CameraModel& model, const Firmware& firmware)
    {
        const QString stem =
            QStringLiteral("%1-%2").arg(model.name.toLower(), model.newestFirmware);
        QString languages = firmware.languages;
        languages.replace(QLatin1Char(' '), QLatin1Char('-'));
        m_xml.writeStartElement(QStringLiteral("package"));
        attribute("name", QStringLiteral("%1 firmware").arg(model.name));
        attribute("platform", model.name);
        attribute("release", model.newestFirmware);
        attribute("release-date", firmware.date);
        attribute("language", firmware.languages);
        writeFile(QStringLiteral("/packages/firmware/%1-%2.bin").arg(stem, languages),
                  nextBytes(megabyte));
        writeNotes("release-notes", QStringLiteral("en"), stem,
                   QStringLiteral("%1 firmware %2").arg(model.name, model.newestFirmware),
                   QStringLiteral("Better pictures at night, two security corrections."));
        m_xml.writeEndElement();
    }

    void writeFile(const QString& path, const QByteArray& contents)
    {
        m_xml.writeEmptyElement(QStringLiteral("file"));
        attribute("url", path.mid(int(qstrlen("/packages/"))));
        attribute("file-size", QString::number(contents.size()));
        UpdateServer::Answer answer =
            UpdateServer::page(QByteArrayLiteral("application/octet-stream"), contents);
        answer.pause = downloadTime / (contents.size() / answer.pieceSize + 1);
        m_server.setAnswer(path, answer);
    }

    void writeNotes(const char* element, const QString& language, const QString& stem,
                    const QString& title, const QString& text)
    {
        const QString path =
            QStringLiteral("/%1/%2_%3.html").arg(QLatin1String(element), stem, language);
        m_xml.writeEmptyElement(QLatin1String(element));
        attribute("language", language);
        attribute("url", m_server.url(path).toString());
        const QString html = QStringLiteral("<!DOCTYPE html>\n<html lang=\"%1\"><head>"
                                            "<meta charset=\"utf-8\"><title>%2</title></head>\n"
                                            "<body><h1>%2</h1><p>%3</p></body></html>\n")
                                 .arg(language, title.toHtmlEscaped(), text.toHtmlEscaped());
        m_server.setAnswer(
            path, UpdateServer::page(QByteArrayLiteral("text/html; charset=utf-8"), html.toUtf8()));
    }
};

} // namespace

QString productName()
{
    return QStringLiteral("Camera Desk");
}

void publishUpdates(UpdateServer& server)
{
    Publisher(server).publish();
}

QString packagePath(const QString& release, const QString& platform, const QString& suffix)
{
    return QStringLiteral("/packages/camera-desk/camera-desk-%1-%2.%3")
        .arg(release, platform, suffix);
}

QByteArray emptyDocument()
{
    return QByteArrayLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<softwareList/>\n");
}

} // namespace demo
