#pragma once

class QString;
class QWidget;
class YumConfIO;
class YumIO;

namespace Repo {
class Entry;
}

// Opens what a repository configuration points to in the share directory's
// "webbrowser" program.
class RepoBrowse final
{
public:
    // The engine gives yum's variables; without a running engine they stay as written.
    // False when nothing was started (no URL: a box says so).
    static bool browse(QWidget* parent, const Repo::Entry& entry, YumIO* engine);
    // Browses the first configured repository with the identifier; false, without a
    // word, when there is none.
    static bool browse(QWidget* parent, const QString& id, YumIO* engine,
                       const YumConfIO& yumConfIO);
    // The first URL of baseurl, else the mirror list, with $basearch, $arch and
    // $releasever substituted; empty when the entry has no URL.
    static QString address(const Repo::Entry& entry, YumIO* engine);
};
