#pragma once

#include <QString>

#include <memory>

class QWidget;
class YumConfIO;

namespace RepoAuth {

class Dialog;

// Before the package manager starts: asks for the credentials of every repository in
// use for this session whose URLs carry a credential shape with both values blank,
// and writes the answers into the configuration files.  The whole check runs in the
// constructor.
class Checker final
{
public:
    class Auth final
    {
    public:
        QString name;
        QString password;
    };

    Checker(QWidget* parent, YumConfIO& yumConfIO);
    ~Checker();
    Checker(const Checker&) = delete;
    Checker& operator=(const Checker&) = delete;

    // The user chose Quit.
    bool quit() const { return quit_; }
    // Credentials were written: a package manager that read the old files must read anew.
    bool wrote() const { return wrote_; }

private:
    void check(QWidget* parent, YumConfIO& yumConfIO);

    std::unique_ptr<Dialog> dialog_;
    bool quit_ = false;
    bool wrote_ = false;
};

} // namespace RepoAuth
