#pragma once

#include "yumio/YumIODialogsPresenter.h"

#include <QList>
#include <QString>
#include <QStringList>

// Answers the engine's dialogs as a test tells it to and remembers what they said.
class AnsweringPresenter final : public YumIODialogsPresenter
{
public:
    struct Dialog {
        QString kind;
        QString caption;
        QString text;
        QStringList buttons;
        int defaultButton = 0;
        int escapeButton = -1;
    };

    int confirm(QWidget* parent, const QString& caption, const QString& text, const QString& acceptText,
                const QString& rejectText) override;
    int warning(QWidget* parent, const QString& caption, const QString& text, const QString& button0,
                const QString& button1, const QString& button2, int defaultButton, int escapeButton) override;
    int critical(QWidget* parent, const QString& caption, const QString& text, const QString& button0,
                 const QString& button1, const QString& button2, int defaultButton, int escapeButton) override;
    void scrollable(QWidget* parent, const QString& caption, const QString& text) override;

    // The dialogs of one kind and caption, in order.
    QList<Dialog> of(const QString& kind, const QString& caption = QString()) const;

    QList<Dialog> dialogs;
    int confirmAnswer = 1;
    // Answers for questions with buttons, taken in order; the default button once they run out.
    QList<int> questionAnswers;

private:
    int add(Dialog dialog);
};
