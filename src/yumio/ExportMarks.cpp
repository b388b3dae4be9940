#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/ExportMarks.h"

#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIODialogsUser.h"

#include <QHash>
#include <QRegularExpression>

#include <algorithm>

namespace Export {

namespace {

// How each kind of action is handed on, in the order the tasks run: removals first, so
// that an install never has to wait for the removal of what it replaces.  A new kind of
// action needs a row here and nothing else.
struct Kind
{
    Package::Action action;
    const char* task;
    const char* state;
    // Kickstart installs the newest of everything it lists; an empty prefix lists the
    // item, "-" excludes it.
    const char* kickstartPrefix;
    // Whether the hosts' package manager may go to an older version than installed.
    bool downgrade;
};

const Kind kinds[] = {
    { Package::Remove, "Remove packages", "absent", "-", false },
    { Package::Update, "Update packages", "latest", "", false },
    { Package::Downgrade, "Downgrade packages", "present", "", true },
    // A reinstall repairs one machine; elsewhere it means that exact version is there.
    { Package::Reinstall, "Reinstall packages", "present", "", false },
    { Package::Install, "Install packages", "present", "", false },
};

QList<Marks::Item> ofAction(const QList<Marks::Item>& items, Package::Action action)
{
    QList<Marks::Item> chosen;
    for (const Marks::Item& item : items)
        if (item.action == action)
            chosen.append(item);
    return chosen;
}

} // namespace

QString Marks::Item::target() const
{
    if (group)
        return QLatin1Char('@') + name;
    QString text = name;
    if (!version.isEmpty())
        text += QLatin1Char('-') + version;
    if (!arch.isEmpty())
        text += QLatin1Char('.') + arch;
    return text;
}

bool Marks::collect(YumIO& engine, QList<Item>& items)
{
    items.clear();
    YumIO::PyGILStateWrapper lock(true);
    YumIODialogsUser dialogs(engine.dialogsSlot(), engine.dialogParent());
    for (Package::Entry* entry : engine.catalogue()) {
        entry->workAction = entry->action;
        entry->markedBy = entry;
    }
    if (!engine.applyGroups())
        return false;
    // A name alone means every architecture to a removal and the preferred one to an
    // install: where the catalogue has the name in several, the entry's own is named.
    QHash<QString, int> architectures;
    for (const Package::Entry* entry : engine.catalogue())
        if (entry->kind != Package::Group)
            ++architectures[entry->name];
    for (const Package::Entry* entry : engine.catalogue()) {
        if (entry->kind == Package::Group) {
            // The group itself too, so that the hosts' package manager knows it as installed.
            if (entry->action == Package::None)
                continue;
            PyRef id = PyRef::steal(PyObject_GetAttrString(entry->yumObject.get(), "groupid"));
            if (!id)
                PyErr_Clear();
            Item item;
            item.action = entry->action;
            item.group = true;
            item.name = id ? engine.pyString(id.get()) : entry->name;
            items.append(item);
            continue;
        }
        if (entry->workAction == Package::None)
            continue;
        Item item;
        item.action = entry->workAction;
        item.name = entry->name;
        if (entry->workAction == Package::Reinstall)
            item.version = entry->verRel;
        else if (entry->workAction == Package::Downgrade || entry->workAction == Package::Install)
            item.version = entry->targetVerRel;
        if (architectures.value(entry->name) > 1)
            item.arch = entry->arch;
        items.append(item);
    }
    // The catalogue's order is its hash's: the same marks give the same text.
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
        if (a.group != b.group)
            return a.group;
        return a.name != b.name ? a.name < b.name : a.arch < b.arch;
    });
    return true;
}

QString Marks::playbook(const QList<Item>& items, const QString& hosts)
{
    QString text = QStringLiteral("---\n"
                                  "# Package actions marked in Orvo.\n"
                                  "- name: Package actions marked in Orvo\n");
    text += QStringLiteral("  hosts: %1\n").arg(yamlScalar(hosts.trimmed().isEmpty() ? QStringLiteral("all") : hosts.trimmed()));
    text += QStringLiteral("  become: true\n");
    QString tasks;
    for (const Kind& kind : kinds) {
        const QList<Item> chosen = ofAction(items, kind.action);
        if (chosen.isEmpty())
            continue;
        tasks += QStringLiteral("    - name: %1\n"
                                "      ansible.builtin.dnf:\n"
                                "        name:\n")
                     .arg(QLatin1String(kind.task));
        for (const Item& item : chosen)
            tasks += QStringLiteral("          - %1\n").arg(yamlScalar(item.target()));
        tasks += QStringLiteral("        state: %1\n").arg(QLatin1String(kind.state));
        if (kind.downgrade)
            tasks += QStringLiteral("        allow_downgrade: true\n");
    }
    text += tasks.isEmpty() ? QStringLiteral("  tasks: []\n") : QString(QStringLiteral("  tasks:\n") + tasks);
    return text;
}

QString Marks::kickstart(const QList<Item>& items)
{
    QString text = QStringLiteral("# Package actions marked in Orvo.\n%packages\n");
    for (const Kind& kind : kinds)
        for (const Item& item : ofAction(items, kind.action))
            text += QLatin1String(kind.kickstartPrefix) + item.target() + QLatin1Char('\n');
    return text + QStringLiteral("%end\n");
}

QString Marks::yamlScalar(const QString& text)
{
    // Plain only when it begins with a letter and holds nothing YAML gives a meaning
    // to; the words YAML 1.1 reads as booleans or null are quoted too.
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z][A-Za-z0-9_.+/-]*$"));
    static const QRegularExpression word(QStringLiteral("^(y|n|yes|no|true|false|on|off|null)$"),
                                         QRegularExpression::CaseInsensitiveOption);
    if (plain.match(text).hasMatch() && !word.match(text).hasMatch())
        return text;
    // A single-quoted scalar cannot hold a line break or a control character as it is.
    bool control = false;
    for (const QChar c : text)
        control = control || c.unicode() < 0x20 || c.unicode() == 0x7f;
    if (control) {
        QString escaped;
        for (const QChar c : text) {
            if (c == QLatin1Char('\\') || c == QLatin1Char('"')) {
                escaped += QLatin1Char('\\');
                escaped += c;
            } else if (c.unicode() < 0x20 || c.unicode() == 0x7f)
                escaped += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
            else
                escaped += c;
        }
        return QLatin1Char('"') + escaped + QLatin1Char('"');
    }
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace Export
