#include "repo/RepoBrowse.h"

#include "app/Execute.h"
#include "app/Share.h"
#include "python/Python.h"
#include "repo/RepoEntry.h"
#include "repo/YumConfIO.h"
#include "widgets/ModalAnswer.h"
#include "yumio/YumIO.h"

#include <QMessageBox>
#include <QRegularExpression>
#include <QStringList>

QString RepoBrowse::address(const Repo::Entry& entry, YumIO* engine)
{
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    const QStringList urls = entry.baseurl.split(blanks, Qt::SkipEmptyParts);
    QString url = urls.isEmpty() ? entry.mirrorlist : urls.first();
    if (url.isEmpty() || !engine || !Python::initialized)
        return url;
    Python::PyGILStateWrapper lock(true);
    // "$basearch" goes first: "$arch" would otherwise eat into it.
    url.replace(QLatin1String("$basearch"), engine->getYumVar(QStringLiteral("basearch")));
    url.replace(QLatin1String("$arch"), engine->getYumVar(QStringLiteral("arch")));
    url.replace(QLatin1String("$releasever"), engine->getYumVar(QStringLiteral("releasever")));
    return url;
}

bool RepoBrowse::browse(QWidget* parent, const Repo::Entry& entry, YumIO* engine)
{
    const QString url = address(entry, engine);
    if (url.isEmpty()) {
        QMessageBox box(QMessageBox::Critical, QObject::tr("Error"),
                        QObject::tr("Repository configuration has no URL"), QMessageBox::Ok, parent);
        ModalAnswer::exec(box);
        return false;
    }
    Execute::execute(parent, QStringList{Share::absolute(QStringLiteral("webbrowser")), url});
    return true;
}

bool RepoBrowse::browse(QWidget* parent, const QString& id, YumIO* engine,
                        const YumConfIO& yumConfIO)
{
    for (const Repo::Entry& entry : yumConfIO.repos()) {
        if (entry.id == id)
            return browse(parent, entry, engine);
    }
    return false;
}
