#include "yumio/YumIODialogsMinion.h"

#include "yumio/YumIODialogsPresenter.h"

#include <cstdio>

YumIODialogsMinion::YumIODialogsMinion(QWidget* parent)
    : parent_(parent)
{
}

void YumIODialogsMinion::present(const QString& caption, const QString& text, int fallback, const Show& show)
{
    YumIODialogsPresenter* presenter = YumIODialogsPresenter::current();
    int result = fallback;
    if (presenter)
        result = show(*presenter, parent_);
    else
        std::fprintf(stderr, "%s: %s\n", qPrintable(caption), qPrintable(text));
    Q_EMIT setResult(result);
}
