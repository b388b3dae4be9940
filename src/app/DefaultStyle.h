#pragma once

class QApplication;
class QString;

// Whether the user chose a widget style; if not, ours is set with its own palette.
class DefaultStyle final
{
public:
    DefaultStyle(int argc, char** argv);

    bool userChosen() const { return userChosen_; }
    void set(QApplication& application, const QString& styleName) const;

private:
    bool userChosen_ = false;
};
