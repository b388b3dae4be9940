#include "app/MainWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <sys/utsname.h>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
{
    struct utsname names;
    const QString node = uname(&names) == 0 ? QString::fromLocal8Bit(names.nodename) : QString();
    setWindowTitle(tr("Orvo - %1").arg(node));

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    auto* filterRow = new QHBoxLayout;
    layout->addLayout(filterRow);

    modeCombo_ = new QComboBox(central);
    modeCombo_->addItem(tr("Filter"));
    modeCombo_->addItem(tr("Search"));
    filterRow->addWidget(modeCombo_);

    regexpEdit_ = new QLineEdit(QStringLiteral(".*"), central);
    filterRow->addWidget(regexpEdit_, 1);

    filterButton_ = new QPushButton(tr("Filter"), central);
    filterButton_->setDefault(true);
    filterRow->addWidget(filterButton_);

    stateCombo_ = new QComboBox(central);
    stateCombo_->addItem(tr("View Updatable"));
    stateCombo_->addItem(tr("View Installable"));
    stateCombo_->addItem(tr("View Removable"));
    stateCombo_->addItem(tr("View All"));
    stateCombo_->setToolTip(tr("Filter for those packages which are eligible for updating,\n"
                               "for installing, or for removing; or show all packages"));
    filterRow->addWidget(stateCombo_);

    dupsCheck_ = new QCheckBox(tr("Include Duplicates"), central);
    dupsCheck_->setChecked(true);
    dupsCheck_->setToolTip(tr("Whether or not filter should include packages with duplicate names.\n"
                              "If unchecked, the package with the architecture closest to the base "
                              "architecture is shown."));
    filterRow->addWidget(dupsCheck_);

    groupsCheck_ = new QCheckBox(tr("Include Groups"), central);
    groupsCheck_->setChecked(false);
    groupsCheck_->setToolTip(tr("Whether or not filter should include package groups"));
    filterRow->addWidget(groupsCheck_);

    layout->addStretch(1);
    setCentralWidget(central);
}

MainWindow::~MainWindow() = default;

QSize MainWindow::sizeHint() const
{
    QSize size = QMainWindow::sizeHint();
    size.setWidth(qMax(size.width(), 768));
    return size;
}

void MainWindow::setMode(PackageTable::Mode mode)
{
    modeCombo_->setCurrentIndex(mode);
}

void MainWindow::setRegexp(const char* regexp)
{
    regexpEdit_->setText(QString::fromLocal8Bit(regexp));
}

void MainWindow::setStateFilter(PackageTable::StateFilter stateFilter)
{
    stateCombo_->setCurrentIndex(stateFilter);
}

void MainWindow::setDups(bool dups)
{
    dupsCheck_->setChecked(dups);
}

void MainWindow::setGroups(bool groups)
{
    groupsCheck_->setChecked(groups);
}

PackageTable::Mode MainWindow::mode() const
{
    return PackageTable::Mode(modeCombo_->currentIndex());
}

QString MainWindow::regexp() const
{
    return regexpEdit_->text();
}

PackageTable::StateFilter MainWindow::stateFilter() const
{
    return PackageTable::StateFilter(stateCombo_->currentIndex());
}

bool MainWindow::dups() const
{
    return dupsCheck_->isChecked();
}

bool MainWindow::groups() const
{
    return groupsCheck_->isChecked();
}
