#pragma once

#include "Literals.h"

#include "support/AppSettings.h"

#include <QMap>
#include <QStringList>

namespace zk::test {

/** A store in memory that writes down in which order it is asked and told what. */
class RecordingSettings : public AppSettings
{
public:
    QMap<int, QVariant> values;
    /** "get 44", "set 44 true", with " through" behind it where that was asked for. */
    QStringList calls;

    QVariant value(EGroup group, EKey key) override
    {
        calls << u"get %1"_s.arg(key);
        return group == SoftwareUpdateGroup ? values.value(key) : QVariant();
    }

    void set(const QVariant& value, EGroup group, EKey key, bool writeThrough) override
    {
        calls << u"set %1 %2%3"_s.arg(QString::number(key), value.toString(),
                                      writeThrough ? u" through"_s : QString());
        if (group == SoftwareUpdateGroup) {
            values[key] = value;
        }
    }
};

} // namespace zk::test
