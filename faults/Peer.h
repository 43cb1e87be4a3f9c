#pragma once

#include "Plan.h"
#include "ScriptedServer.h"

#include "publisher/SecretKey.h"

#include <QMap>
#include <QSet>

namespace zk::faults {

/** Files by their path relative to some folder. */
using Tree = QMap<QString, QByteArray>;

/** The update server of one flow: it does what the plan says, and knows what may come of it. */
class Peer
{
public:
    explicit Peer(const Plan& plan);

    [[nodiscard]] QUrl documentUrl() const { return m_server.url("/doc.xml"); }
    [[nodiscard]] QStringList keys() const;
    [[nodiscard]] bool isConnected() const { return m_server.connections() > 0; }

    /** Whether a program with this content may be started. */
    [[nodiscard]] bool mayStart(const QByteArray& content) const;
    /** Whether anything may be started at all: without keys, or with a signature that can hold. */
    [[nodiscard]] bool mayDispatch() const;
    /** Whether these files may stand where an archive was unpacked. */
    [[nodiscard]] bool mayUnpack(const Tree& tree) const { return m_trees.contains(tree); }
    /** Whether these files, and others that are missing, may. */
    [[nodiscard]] bool mayBePartOfTree(const Tree& files) const;

    /** What each program that is sent does first: it leaves a note beside itself. */
    static QByteArray firstLines();

private:
    const Plan& m_plan;
    publisher::SecretKey m_ours{QByteArray(32, 'o')};
    publisher::SecretKey m_other{QByteArray(32, 'x')};
    test::ScriptedServer m_server;
    QByteArray m_package;
    /** What the server's answers can amount to, in HTTP's own terms. */
    QSet<QByteArray> m_bodies;
    QList<Tree> m_trees;

    QByteArray makePackage(int variant);
    QByteArray makeArchive(int variant);
    [[nodiscard]] QByteArray makeSignature() const;
    void serve(const QByteArray& path, const QByteArray& body, const Fault& fault,
               QSet<QByteArray>* bodies);
    void lead(const QByteArray& path, const Fault& fault, const test::Answer& last);
};

} // namespace zk::faults
