#include "support/ZipDevice.h"

namespace zk {

ZipDevice::ZipDevice(QObject* parent)
    : QIODevice(parent)
{
}

ZipDevice::~ZipDevice() = default;

bool ZipDevice::isAborted() const
{
    return m_aborted;
}

void ZipDevice::abort()
{
    m_aborted = true;
}

qint64 ZipDevice::readData(char* /*data*/, qint64 /*maxSize*/)
{
    return -1;
}

qint64 ZipDevice::writeData(const char* /*data*/, qint64 /*maxSize*/)
{
    return -1;
}

} // namespace zk
