#include "Peer.h"

#include "RangeOrigin.h"
#include "ZipBuilder.h"

#include "download/FileHash.h"
#include "publisher/ManifestWriter.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>

namespace zk::faults {

using test::Answer;

namespace {

constexpr int millionths = 1'000'000;

QByteArray noise(const Plan& plan, int variant, int size)
{
    const quint32 words[] = {plan.seed, quint32(plan.number), quint32(variant)};
    QRandomGenerator generator(words);
    QByteArray bytes((size + 3) / 4 * 4, Qt::Uninitialized);
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    bytes.truncate(size);
    return bytes;
}

QByteArray document(const QByteArray& url)
{
    return "<softwareList><package-set type=\"Application\" name=\"Viewer\" status=\"STABLE\" "
           "platform=\"Win64\"><package release=\"4.3\"><file url=\"" +
           url + "\"/></package></package-set></softwareList>";
}

QByteArray elsewhere(const test::ScriptedServer& server, int number)
{
    const QByteArray port = QByteArray::number(server.port());
    const QByteArray places[] = {"https://127.0.0.1:" + port + "/setup.exe",
                                 "ftp://127.0.0.1:1/setup.exe",
                                 "gopher://127.0.0.1/setup.exe",
                                 "javascript:alert(1)",
                                 "file:///nonexistent/setup.exe",
                                 "http://127.0.0.1:1/",
                                 "http:///",
                                 "//",
                                 "http://[::1"};
    return places[number % int(std::size(places))];
}

/** An answer whose header may declare another body length; @p head is its first lines. */
QByteArray response(const QByteArray& head, const QByteArray& body, const QByteArray& length)
{
    return head + "Connection: close\r\n" +
           (length.isEmpty() ? length : "Content-Length: " + length + "\r\n") + "\r\n" + body;
}

constexpr char whole[] = "HTTP/1.1 200 OK\r\n";

/** The first @p part millionths of @p body in compressed form. */
Answer compressed(const QByteArray& body, int part)
{
    // qCompress() puts four bytes before the stream.
    const QByteArray packed = qCompress(body).mid(4);
    return test::http(200, packed.left(int(qint64(packed.size()) * part / millionths)),
                      "Content-Encoding: deflate\r\n");
}

QByteArray signatureOf(const QByteArray& file, const publisher::SecretKey& key,
                       const QByteArray& comment)
{
    return key.sign(bytesOf(trust::Blake2b512::of(viewOf(file))), comment);
}

} // namespace

Peer::Peer(const Plan& plan)
    : m_plan(plan)
{
    const QByteArray path = packagePath();
    m_package = makePackage(0);
    m_served = plan.content == Plan::eGenuine ? m_package : makePackage(1);
    serve("/doc.xml", document(m_server.url(path).toEncoded()), plan.document, nullptr);
    if (plan.retries > 0) {
        serveTries(path);
    } else {
        serve(path, m_served, plan.package, &m_bodies);
    }
    serve(path + ".minisig", makeSignature(m_package, path.mid(1)), plan.signature, nullptr);
    if (plan.isDifferential) {
        serveParts(path);
    }
}

QByteArray Peer::packagePath() const
{
    return m_plan.isArchive ? "/update.zip" : "/setup.exe";
}

QStringList Peer::keys() const
{
    return m_plan.hasKeys ? QStringList{QString::fromLatin1(m_ours.publicKey())} : QStringList();
}

bool Peer::mayStart(const QByteArray& content) const
{
    return mayDispatch() && m_bodies.contains(content) && (!m_plan.hasKeys || content == m_package);
}

bool Peer::mayDispatch() const
{
    if (!m_plan.hasKeys) {
        return true;
    }
    switch (m_plan.signature.kind) {
    // The part that arrives may contain everything that counts.
    case Fault::eNoLength:
    case Fault::eWrongLength:
    case Fault::eLoop:
    case Fault::eRedirects:
    case Fault::eNone:
    case Fault::eDelay:
    case Fault::eDrip:
    case Fault::eCompressed:
        return m_plan.forgery == Plan::eNoForgery;
    default:
        return false;
    }
}

bool Peer::mayBePartOfTree(const Tree& files) const
{
    return std::any_of(m_trees.cbegin(), m_trees.cend(), [&files](const Tree& tree) {
        const auto begin = files.constKeyValueBegin();
        return std::all_of(begin, files.constKeyValueEnd(), [&tree](const auto& file) {
            return tree.contains(file.first) && tree.value(file.first) == file.second;
        });
    });
}

QByteArray Peer::firstLines()
{
    return "#!/bin/sh\n: > \"$0.arguments\"\nexit 0\n";
}

// Variant 0 is the signed one; 1 is on the server instead.
QByteArray Peer::makePackage(int variant)
{
    if (m_plan.isArchive) {
        return makeArchive(variant);
    }
    const QByteArray lines = firstLines();
    return lines + noise(m_plan, variant, m_plan.size - lines.size());
}

QByteArray Peer::makeArchive(int variant)
{
    const Tree tree{{QStringLiteral("viewer.exe"), noise(m_plan, variant, m_plan.size / 2)},
                    {QStringLiteral("data/a/b"), noise(m_plan, variant + 2, m_plan.size / 2)},
                    {QStringLiteral("version"), QByteArray::number(variant)}};
    test::ZipBuilder builder;
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        builder.add(it.key().toUtf8(), it.value());
    }
    if (variant == 1 && m_plan.content == Plan::eClimbingArchive) {
        return builder.add("../../climbed").bytes();
    }
    if (variant == 1 && m_plan.content == Plan::eDamagedArchive) {
        test::ZipItem item;
        item.name = "damaged";
        item.data = "data";
        item.crc = 1;
        return builder.add(item).bytes();
    }
    // With keys, only signed archives may be unpacked.
    if (variant == 0 || !m_plan.hasKeys) {
        m_trees << tree;
    }
    return builder.bytes();
}

QByteArray Peer::makeManifest() const
{
    // Not in the temporary folder, which may be on the full disk of an earlier flow.
    const QTemporaryDir folder(QCoreApplication::applicationDirPath() +
                               QStringLiteral("/manifest-XXXXXX"));
    const QString path = folder.filePath(QString::fromLatin1(packagePath().mid(1)));
    test::writeFile(path, m_package);
    const auto made = publisher::manifestOf(
        path, {QStringLiteral("Viewer"), {QStringLiteral("Win64")}, QStringLiteral("4.3")});
    return QByteArray::fromStdString(trust::manifestText(std::get<trust::PackageManifest>(made)));
}

QByteArray Peer::installed() const
{
    return noise(m_plan, 2, m_plan.size / 2);
}

bool Peer::mayStage(const Tree& tree) const
{
    Tree files = tree;
    return m_plan.isDifferential && m_plan.forgery == Plan::eNoForgery &&
           files.take(QStringLiteral(".softwareupdate-manifest")) == m_manifest &&
           m_trees.contains(files);
}

QByteArray Peer::makeSignature(const QByteArray& signedBytes, const QByteArray& fileName) const
{
    const QByteArray name = "file:" + fileName;
    QByteArray genuine = signatureOf(signedBytes, m_ours, name + "\trelease:4.3");
    switch (m_plan.forgery) {
    case Plan::eOtherKey:
        return signatureOf(signedBytes, m_other, name + "\trelease:4.3");
    case Plan::eOtherBytes:
        return signatureOf(signedBytes + '\n', m_ours, name + "\trelease:4.3");
    case Plan::eOtherName:
        return signatureOf(signedBytes, m_ours, "file:setup-old.exe\trelease:4.3");
    case Plan::eOtherRelease:
        return signatureOf(signedBytes, m_ours, name + "\trelease:4.2");
    case Plan::eDamaged: {
        QByteArray damaged = genuine;
        const int at = genuine.indexOf('\n') + 30 + m_plan.number % 50;
        damaged[at] = damaged.at(at) == 'A' ? 'B' : 'A';
        return damaged;
    }
    case Plan::eNoForgery:
        break;
    }
    return genuine;
}

void Peer::serve(const QByteArray& path, const QByteArray& body, const Fault& fault,
                 QSet<QByteArray>* bodies)
{
    QByteArray arriving = body;
    const Answer answer = answerTo(whole, body, fault, &arriving);
    if (fault.kind == Fault::eRedirects || fault.kind == Fault::eLoop) {
        lead(path, fault, answer);
    } else {
        m_server.answer(path, answer);
    }
    if (bodies) {
        keep(arriving, fault, bodies);
    }
}

// Try by try, with ranges of what is genuine.
void Peer::serveTries(const QByteArray& path)
{
    const QList<Fault> faults = QList<Fault>{m_plan.package} + m_plan.tries + QList<Fault>{Fault()};
    QList<Answer> answers; // of the whole file, made before the flow begins: compressing takes time
    for (const Fault& fault : faults) {
        QByteArray arriving = m_served;
        answers << answerTo(QByteArray(whole) + "ETag: " + tag() + "\r\n", m_served, fault,
                            &arriving);
        keep(arriving, fault, &m_bodies);
    }
    const QByteArray elsewhere = "/moved" + path;
    const auto answer = [=](const test::Request& request) {
        const QByteArray range = test::headerOf(request, "Range");
        if (!range.isEmpty() && !range.endsWith('-')) {
            return answerRange(range);
        }
        const int number = request.path == elsewhere ? int(faults.size()) - 1 : m_tries++;
        const Fault fault = faults.value(number, Fault());
        asked(number + 2 >= faults.size());
        if (fault.kind == Fault::eRedirects || fault.kind == Fault::eLoop) {
            return test::redirect(fault.status, m_server.url(elsewhere).toEncoded(), "moved");
        }
        const int first =
            range.mid(int(qstrlen("bytes="))).chopped(range.isEmpty() ? 0 : 1).toInt();
        const bool isCompressed =
            fault.kind == Fault::eCompressed || fault.kind == Fault::eCompressedAndCut;
        if (range.isEmpty() || isCompressed || test::headerOf(request, "If-Range") != tag()) {
            return answers.value(number, answers.constLast());
        }
        const QByteArray size = QByteArray::number(m_served.size());
        if (first >= m_served.size()) {
            return test::http(416, {}, "Content-Range: bytes */" + size + "\r\n");
        }
        QByteArray arriving;
        const QByteArray last = QByteArray::number(m_served.size() - 1);
        return answerTo("HTTP/1.1 206 Partial Content\r\nETag: " + tag() +
                            "\r\nContent-Range: bytes " + QByteArray::number(first) + '-' + last +
                            '/' + size + "\r\n",
                        m_served.mid(first), fault, &arriving);
    };
    m_server.answerWith(path, answer);
    m_server.answerWith(elsewhere, answer);
}

void Peer::serveParts(const QByteArray& path)
{
    m_manifest = makeManifest();
    const QByteArray name = path.mid(1) + ".manifest";
    const QByteArray signature = makeSignature(m_manifest, name);
    m_server.answerWith(path + ".manifest", [this](const test::Request& /*request*/) {
        return answerPart(whole, m_manifest);
    });
    m_server.answerWith(path + ".manifest.minisig", [=](const test::Request& /*request*/) {
        return answerPart(whole, signature);
    });
}

Answer Peer::answerRange(const QByteArray& range)
{
    const QList<QByteArray> ends = range.mid(int(qstrlen("bytes="))).split('-');
    const int first = ends[0].toInt();
    return answerPart("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + ends[0] + '-' +
                          ends[1] + '/' + QByteArray::number(m_served.size()) + "\r\n",
                      m_served.mid(first, ends[1].toInt() - first + 1));
}

Answer Peer::answerPart(const QByteArray& head, const QByteArray& body)
{
    const Fault fault = m_plan.parts.value(m_parts++, Fault());
    if (fault.kind == Fault::eRedirects || fault.kind == Fault::eLoop) {
        return test::redirect(fault.status, m_server.url("/elsewhere").toEncoded(), "moved");
    }
    QByteArray arriving = body;
    return answerTo(head, body, fault, &arriving);
}

void Peer::keep(const QByteArray& arriving, const Fault& fault, QSet<QByteArray>* bodies) const
{
    const bool isNothing = arriving.isEmpty() && fault.kind != Fault::eEmpty &&
                           fault.kind != Fault::eNoLength && fault.kind != Fault::eWrongLength;
    if (!isNothing) {
        bodies->insert(arriving);
    }
}

/** The answer with @p head, spoilt by @p fault; @p arriving becomes what a client may take for the
 * body. */
Answer Peer::answerTo(const QByteArray& head, const QByteArray& body, const Fault& fault,
                      QByteArray* arriving) const
{
    const QByteArray bytes = response(head, body, QByteArray::number(body.size()));
    Answer answer{bytes};
    const int cut = int(qint64(bytes.size()) * fault.number / millionths);
    switch (fault.kind) {
    case Fault::eNone:
    case Fault::eRedirects:
    case Fault::eLoop:
        break;
    case Fault::eDelay:
        answer.delayMs = fault.number;
        break;
    case Fault::eDrip:
        answer.dripMs = 1;
        answer.dropSize = qMax(fault.number, int(bytes.size()) / 40);
        break;
    case Fault::eCutAndClosed:
    case Fault::eCutAndReset:
    case Fault::eCutAndSilent: {
        const Answer::End ends[] = {Answer::eClose, Answer::eReset, Answer::eSilence};
        answer = {bytes.left(cut), ends[fault.kind - Fault::eCutAndClosed]};
        arriving->clear();
        break;
    }
    case Fault::eWrongLength: {
        const int length = qMax(0, body.size() + fault.number);
        answer.bytes = response(head, body, QByteArray::number(length));
        *arriving = length < body.size() ? body.left(length) : QByteArray();
        break;
    }
    case Fault::eNoLength:
        *arriving = body.left(int(qint64(body.size()) * fault.number / millionths));
        answer.bytes = response(head, *arriving, QByteArray());
        break;
    case Fault::eStatus:
        answer = test::http(fault.number, body);
        arriving->clear();
        break;
    case Fault::eHtml:
        *arriving = "<!DOCTYPE html><html><body><h1>Please sign in</h1></body></html>";
        answer = test::http(200, *arriving);
        break;
    case Fault::eEmpty:
        arriving->clear();
        answer = test::http(200);
        break;
    case Fault::eNoHttp:
        arriving->clear();
        answer.bytes = noise(m_plan, 9, 500);
        break;
    case Fault::eCompressed:
        answer = compressed(body, millionths);
        break;
    case Fault::eCompressedAndCut:
        arriving->clear();
        answer = compressed(body, fault.number);
        break;
    case Fault::eElsewhere:
        arriving->clear();
        answer = test::redirect(fault.status, elsewhere(m_server, fault.number));
        break;
    }
    return answer;
}

void Peer::lead(const QByteArray& path, const Fault& fault, const Answer& last)
{
    if (fault.kind == Fault::eLoop) {
        // An odd one redirects to itself, an even one back and forth.
        const QByteArray back = fault.number % 2 == 1 ? path : "/back" + path;
        QList<Answer> answers;
        for (int i = 0; i < fault.number; ++i) {
            answers << test::redirect(fault.status, m_server.url(back).toEncoded());
        }
        m_server.answer(path, answers << last);
        if (back != path) {
            m_server.answer(back, test::redirect(fault.status, m_server.url(path).toEncoded()));
        }
        return;
    }
    QByteArray from = path;
    for (int i = 0; i < fault.number; ++i) {
        const QByteArray to = "/hop" + QByteArray::number(i) + path;
        // A check takes targets as they stand.
        const bool isWhole = path == "/doc.xml" || i % 2 == 0;
        const QByteArray target = isWhole ? m_server.url(to).toEncoded() : to;
        m_server.answer(from, test::redirect(fault.status, target, "moved"));
        from = to;
    }
    m_server.answer(from, last);
}

} // namespace zk::faults
