#pragma once

#include <QAbstractItemModel>
#include <QStringList>

// A model's row signals as text: "changed 0-1; inserted 2-2; removed 1-1; reset".
class RowSignals : public QObject
{
public:
    explicit RowSignals(QAbstractItemModel &model)
    {
        const auto add = [this](const char *what) {
            return [this, what](const QModelIndex &, int from, int to) { seen << QStringLiteral("%1 %2-%3").arg(QLatin1String(what)).arg(from).arg(to); };
        };
        connect(&model, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex &from, const QModelIndex &to) {
            seen << QStringLiteral("changed %1-%2").arg(from.row()).arg(to.row());
        });
        connect(&model, &QAbstractItemModel::rowsInserted, this, add("inserted"));
        connect(&model, &QAbstractItemModel::rowsRemoved, this, add("removed"));
        connect(&model, &QAbstractItemModel::modelReset, this, [this] { seen << QStringLiteral("reset"); });
    }

    QString take() { return std::exchange(seen, {}).join(QStringLiteral("; ")); }

private:
    QStringList seen;
};
