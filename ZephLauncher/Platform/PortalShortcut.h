#pragma once

#include <QDBusArgument>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace zeph::Portal {

// One global shortcut as the desktop portal passes them, "(sa{sv})": its id and its properties
// ("description", "preferred_trigger", "trigger_description").
struct Shortcut {
    QString id;
    QVariantMap properties;
};

inline QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

inline const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace zeph::Portal

Q_DECLARE_METATYPE(zeph::Portal::Shortcut)
