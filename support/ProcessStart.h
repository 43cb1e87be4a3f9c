#pragma once

#include <QString>
#include <QStringList>

namespace zk {

struct CopyAndLaunch;

/**
 * Starts the downloaded program @p path detached and without arguments; where files need it, its
 * owner may execute it first.
 */
void startInstaller(const QString& path);

/** Starts the command interpreter @p program detached to carry out @p job. */
void startCopyAndLaunch(const QString& program, const CopyAndLaunch& job);

/**
 * Replaces the running process by @p program, which gets @p arguments unharmed and behind its own
 * path as argument 0. Returns only when that fails. There must be exactly six arguments.
 */
void replaceProcess(const QString& program, const QStringList& arguments);

} // namespace zk
