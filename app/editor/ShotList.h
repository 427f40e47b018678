#pragma once

#include <QAbstractListModel>
#include <cstdint>
#include <vector>

#include "app/editor/ShotRows.h"

namespace glintro {

// The storyboard's cards as rows of values. An edit inserts, removes and changes those rows that it touches;
// all others stay what they are. Times are source seconds, output times those of the finished reel. Main
// thread.
class ShotList : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged FINAL)

  public:
    enum Role {
        IdentityRole = Qt::UserRole, // qulonglong: the row's, as long as it lives
        NumberRole,                  // int, from 1
        StartRole,                   // double, as the other times
        EndRole,
        KindRole, // "wide", "zoom" or "cut"
        ScaleRole,
        RateRole,
        CaptionRole, // "2.0× · 4.2s"
        IsSelectedRole,
        PictureKeyRole, // int: of its picture among the reel's moments
        OutputStartRole,
        OutputDurationRole,
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(rows_.size()); }

    // O(n) for n shots. The selection stays with its row.
    void setShots(const std::vector<Shot>& shots);

    const std::vector<ShotRow>& rows() const { return rows_; }
    // 0 for a number that is no shot's.
    std::uint64_t identityOf(int number) const;
    // Null for an identity that no row has.
    const ShotRow* row(std::uint64_t identity) const;
    // Selects one row, none for an identity that no row has.
    void setSelected(std::uint64_t identity);

  signals:
    void countChanged();

  private:
    using Partners = std::vector<std::optional<std::size_t>>;
    void removeRowsWithout(const Partners& partners);
    void insertRowsFor(const std::vector<Shot>& shots, const Partners& partners);
    void updateRows(const std::vector<Shot>& shots);

    std::vector<ShotRow> rows_;
    std::uint64_t lastIdentity_ = 0;
};

} // namespace glintro
