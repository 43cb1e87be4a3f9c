#pragma once

#include "Plan.h"
#include "ScriptedServer.h"

#include "publisher/SecretKey.h"

#include <QMap>
#include <QSet>

#include <functional>

namespace zk::faults {

/** File contents by relative path. */
using Tree = QMap<QString, QByteArray>;

/** The update server of one flow: executes the plan and knows the allowed results. */
class Peer
{
public:
    explicit Peer(const Plan& plan);

    [[nodiscard]] QUrl documentUrl() const { return m_server.url("/doc.xml"); }
    [[nodiscard]] QUrl packageUrl() const { return m_server.url(packagePath()); }
    /** What is served as the package, if nothing goes wrong. */
    [[nodiscard]] QByteArray served() const { return m_served; }
    /** What tells versions of the package apart. */
    static QByteArray tag() { return "\"genuine\""; }
    /** Called with each request for the package of a client that tries again, and whether it is the
     * last one that fails. */
    std::function<void(bool isLast)> asked = [](bool /*isLast*/) {};
    [[nodiscard]] QStringList keys() const;
    [[nodiscard]] bool isConnected() const { return m_server.connections() > 0; }

    /** Contents of a file of the package that is installed already. */
    [[nodiscard]] QByteArray installed() const;
    /** Whether a new version may consist of these files that was put together. */
    [[nodiscard]] bool mayStage(const Tree& tree) const;

    /** Whether a program with this content may be started. */
    [[nodiscard]] bool mayStart(const QByteArray& content) const;
    /** Whether anything may be started: without keys, or with a signature that can be valid. */
    [[nodiscard]] bool mayDispatch() const;
    /** Whether an unpacked archive may consist of these files. */
    [[nodiscard]] bool mayUnpack(const Tree& tree) const { return m_trees.contains(tree); }
    /** The same if some files are missing. */
    [[nodiscard]] bool mayBePartOfTree(const Tree& files) const;

    /** The first action of each published program: it writes a note beside itself. */
    static QByteArray firstLines();

private:
    const Plan& m_plan;
    publisher::SecretKey m_ours{QByteArray(32, 'o')};
    publisher::SecretKey m_other{QByteArray(32, 'x')};
    test::ScriptedServer m_server;
    QByteArray m_package;
    QByteArray m_served;
    QByteArray m_manifest;
    int m_tries = 0;
    int m_parts = 0;
    /** The possible results of the server's answers, in HTTP terms. */
    QSet<QByteArray> m_bodies;
    QList<Tree> m_trees;

    [[nodiscard]] QByteArray packagePath() const;
    QByteArray makePackage(int variant);
    QByteArray makeArchive(int variant);
    [[nodiscard]] QByteArray makeManifest() const;
    [[nodiscard]] QByteArray makeSignature(const QByteArray& signedBytes,
                                           const QByteArray& name) const;
    void serve(const QByteArray& path, const QByteArray& body, const Fault& fault,
               QSet<QByteArray>* bodies);
    void serveTries(const QByteArray& path);
    void serveParts(const QByteArray& path);
    [[nodiscard]] test::Answer answerPart(const QByteArray& head, const QByteArray& body);
    [[nodiscard]] test::Answer answerRange(const QByteArray& range);
    [[nodiscard]] test::Answer answerTo(const QByteArray& head, const QByteArray& body,
                                        const Fault& fault, QByteArray* arriving) const;
    void keep(const QByteArray& arriving, const Fault& fault, QSet<QByteArray>* bodies) const;
    void lead(const QByteArray& path, const Fault& fault, const test::Answer& last);
};

} // namespace zk::faults
