#pragma once

#include "yumio/Package.h"

#include <QList>
#include <QString>

class YumIO;

namespace Export {

// The marked actions handed on to the tools that apply them elsewhere: an Ansible
// playbook for machines that exist, a kickstart package list for those to be installed.
// Widget-free; the texts depend on the items alone.
class Marks final
{
public:
    // One action on one package, or on one group ("@id").
    struct Item
    {
        Package::Action action = Package::None;
        bool group = false;
        // The package's name, or the group's id.
        QString name;
        // A version the user chose ("[epoch:]version-release"); empty: the repositories' choice.
        QString version;
        // Set only where the name comes in several architectures.
        QString arch;

        // As the package manager reads it: "@id", "name", "name-version", "name.arch",
        // "name-version.arch".
        QString target() const;
    };

    // The catalogue's marks with group marks expanded as applying expands them (the
    // user resolves conflicts the same way).  Graphical thread.  False when the user
    // cancelled or a group's members could not be read.
    static bool collect(YumIO& engine, QList<Item>& items);

    // A playbook with one play for the hosts (a group name or pattern; empty: "all"),
    // one task per kind of action.
    static QString playbook(const QList<Item>& items, const QString& hosts);
    // A kickstart "%packages" section: what is installed or updated, removals excluded.
    static QString kickstart(const QList<Item>& items);

    // text as a YAML scalar: plain where YAML reads it back as the same string, else
    // single-quoted.
    static QString yamlScalar(const QString& text);
};

} // namespace Export
