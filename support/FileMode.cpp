#include "support/FileMode.h"

namespace zk {

bool setExecutable(QFile& file, quint32 unixMode)
{
#ifdef Q_OS_UNIX
    constexpr quint32 owner = 0100;
    constexpr quint32 group = 0010;
    constexpr quint32 other = 0001;
    if ((unixMode & (owner | group | other)) == 0) {
        return true;
    }
    QFile::Permissions permissions = file.permissions();
    // Only for those whom the umask lets read the file.
    permissions.setFlag(QFile::ExeOwner, (unixMode & owner) != 0);
    permissions.setFlag(QFile::ExeGroup, (unixMode & group) != 0 && permissions & QFile::ReadGroup);
    permissions.setFlag(QFile::ExeOther, (unixMode & other) != 0 && permissions & QFile::ReadOther);
    return file.setPermissions(permissions);
#else
    Q_UNUSED(file)
    Q_UNUSED(unixMode)
    return true;
#endif
}

} // namespace zk
