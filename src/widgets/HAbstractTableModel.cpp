#include "widgets/HAbstractTableModel.h"

HAbstractTableModel::HAbstractTableModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

void HAbstractTableModel::forceSortColumnRediscovery()
{
    beginResetModel();
    endResetModel();
}
