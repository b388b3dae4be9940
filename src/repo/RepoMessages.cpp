#include "repo/RepoMessages.h"

#include <QDebug>
#include <QString>

namespace Repo {

namespace {

struct Handlers {
    Messages::Critical critical;
    Messages::Question question;
};

Handlers& handlers()
{
    static Handlers instance;
    return instance;
}

} // namespace

void Messages::install(Critical critical, Question question)
{
    handlers().critical = std::move(critical);
    handlers().question = std::move(question);
}

void Messages::critical(QWidget* parent, const QString& title, const QString& text)
{
    if (handlers().critical)
        handlers().critical(parent, title, text);
    else
        qWarning().noquote() << title + QStringLiteral(": ") + text;
}

bool Messages::question(QWidget* parent, const QString& title, const QString& text)
{
    if (handlers().question)
        return handlers().question(parent, title, text);
    qWarning().noquote() << title + QStringLiteral(": ") + text + QStringLiteral(" (declined)");
    return false;
}

} // namespace Repo
