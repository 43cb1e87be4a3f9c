#pragma once

#include "Peer.h"

#include <QTemporaryDir>

namespace zk::faults {

/**
 * The folders that a flow may touch, with a disk of its own that can be full where the system lets
 * us have one. Make it before any thread is started.
 */
class Sandbox
{
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /** Makes everything as @p plan wants it; the settings are those of a user who has chosen. */
    void prepare(const Plan& plan);
    /** Takes back what hinders, and leaves everything else for examination. */
    void restore();

    void removeTemporaryFolder() const;
    [[nodiscard]] bool hasSmallDisk() const { return m_hasSmallDisk; }
    [[nodiscard]] QString settingsFile() const;
    /** What lies in the temporary folder: per entry its name and the files below it. */
    [[nodiscard]] QMap<QString, Tree> leftovers() const;
    /** What lies everywhere else. */
    [[nodiscard]] QStringList otherFiles() const;
    /** What has become of the user's settings; empty when they are all there. */
    [[nodiscard]] QString lostSettings() const;

    /** All files below @p folder. */
    static Tree tree(const QString& folder);

private:
    QTemporaryDir m_root;
    QString m_temporary;
    bool m_hasSmallDisk = false;
    bool m_isReadOnly = false;
    bool m_isOnSmallDisk = false;

    [[nodiscard]] QString path(const char* name) const;
    void fillDisk(int room) const;
};

} // namespace zk::faults
