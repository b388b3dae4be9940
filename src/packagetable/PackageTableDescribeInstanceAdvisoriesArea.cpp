#include "packagetable/PackageTableDescribeInstanceAdvisoriesArea.h"

#include "app/Execute.h"
#include "app/Share.h"
#include "widgets/Fonts.h"
#include "yumio/AdvisoryRecord.h"

#include <QLabel>
#include <QStringList>
#include <QVBoxLayout>

namespace PackageTable {
namespace Describe {
namespace Instance {

AdvisoriesArea::AdvisoriesArea(QVBoxLayout* column, const QVector<const Advisory::Record*>& advisories)
{
    setFrameShape(QFrame::StyledPanel);
    auto* layout = new QVBoxLayout(this);
    auto* header = new QLabel(tr("Advisories"), this);
    header->setTextFormat(Qt::PlainText);
    header->setFont(Fonts::makeHeader(header->font()));
    layout->addWidget(header);
    for (const Advisory::Record* advisory : advisories) {
        texts_.append(text(*advisory));
        auto* label = new QLabel(texts_.last(), this);
        label->setObjectName(advisory->id);
        label->setTextFormat(Qt::RichText);
        label->setWordWrap(true);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::LinksAccessibleByMouse
                                       | Qt::LinksAccessibleByKeyboard);
        // Links go to the program's own browser helper, as repository addresses do.
        label->setOpenExternalLinks(false);
        connect(label, &QLabel::linkActivated, this, &AdvisoriesArea::openLink);
        layout->addWidget(label);
    }
    column->addWidget(this);
}

QString AdvisoriesArea::text(const Advisory::Record& advisory)
{
    QStringList facts{advisory.typeText()};
    if (!advisory.shownSeverity().isEmpty())
        facts << tr("severity %1").arg(advisory.shownSeverity().toHtmlEscaped());
    if (!advisory.issuedText().isEmpty())
        facts << tr("issued %1").arg(advisory.issuedText());
    QString html = QStringLiteral("<b>%1</b> (%2)").arg(advisory.id.toHtmlEscaped(), facts.join(QStringLiteral(", ")));
    if (!advisory.title.isEmpty())
        html += QStringLiteral("<br>%1").arg(advisory.title.toHtmlEscaped());
    if (!advisory.description.isEmpty()) {
        QString description = advisory.description.toHtmlEscaped();
        description.replace(QLatin1Char('\n'), QStringLiteral("<br>"));
        html += QStringLiteral("<br>%1").arg(description);
    }
    QStringList links;
    for (const Advisory::Record::Reference& reference : advisory.references) {
        const QString name = reference.id.isEmpty() ? reference.url : reference.id;
        if (reference.url.isEmpty())
            links << name.toHtmlEscaped();
        else
            links << QStringLiteral("<a href=\"%1\">%2</a>").arg(reference.url.toHtmlEscaped(), name.toHtmlEscaped());
    }
    if (!links.isEmpty())
        html += QStringLiteral("<br>%1 %2").arg(tr("References:"), links.join(QStringLiteral(", ")));
    return html;
}

void AdvisoriesArea::openLink(const QString& url)
{
    Execute::execute(window(), QStringList{Share::absolute(QStringLiteral("webbrowser")), url});
}

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
