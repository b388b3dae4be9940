#pragma once

#include <QAbstractTableModel>

// A table model that can make its proxies rebuild their mapping, sort column included.
class HAbstractTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(HAbstractTableModel)

public:
    explicit HAbstractTableModel(QObject* parent = nullptr);

    // A reset: every attached proxy drops its mapping and rebuilds it.
    void forceSortColumnRediscovery();
};
