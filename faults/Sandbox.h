#pragma once

#include "Peer.h"

#include <QTemporaryDir>

namespace zk::faults {

/**
 * The folders that a flow may touch, on a separate disk of limited size if the system allows
 * mounting one. Construct it before any thread is started.
 */
class Sandbox
{
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /** Prepares everything for @p plan; the settings are those of a user who has changed them. */
    void prepare(const Plan& plan);
    /** Removes the obstacles and leaves everything else for examination. */
    void restore();

    void removeTemporaryFolder() const;
    void removeCache() const;
    [[nodiscard]] bool hasSmallDisk() const { return m_hasSmallDisk; }
    [[nodiscard]] QString settingsFile() const;
    /** The contents of the temporary folder: the name of each entry and the files below it. */
    [[nodiscard]] QMap<QString, Tree> leftovers() const;
    /** The contents of all other folders. */
    [[nodiscard]] QStringList otherFiles() const;
    /** The changes of the user's settings; empty if there are none. */
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
    [[nodiscard]] QString cache() const;
    void fillDisk(int room) const;
};

} // namespace zk::faults
