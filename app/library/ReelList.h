#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QString>
#include <QVariant>
#include <vector>

#include "app/library/DayGroups.h"
#include "app/library/Reel.h"
#include "app/library/SignaturePieces.h"

namespace glintro {

// The reels that a search has found as rows, newest first, grouped by day. Rows come, go, move and change one
// by one, so that a view keeps its place and its selection; only a change of very many at once, as by a
// search, replaces the list. What a row costs to compute is computed when it is asked for. Main thread.
class ReelList : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged FINAL)

  public:
    enum Role {
        NameRole = Qt::DisplayRole,
        FolderRole = Qt::UserRole, // the reel's path; names it in all other calls
        DurationRole,              // seconds
        DurationTextRole,          // "1:08"
        CreatedRole,               // a date and time
        TimeOfDayRole,             // "14:03"
        HasCameraRole,
        HasAudioRole,
        IsImportedRole,
        DayRole,        // a date: the section
        DayTitleRole,   // "Today"
        SignatureRole,  // a list of SignaturePiece
        BackdropRole,   // what is shown until the picture is there: settings by their names
        SourceSizeRole, // pixels
        PictureRole,    // a number that changes with the card's picture; 0 for none
        ScrubRole,      // the same for the frames shown while the pointer moves over the card
    };

    // The calendar must outlive the list.
    explicit ReelList(const DayCalendar& calendar, QObject* parent = nullptr)
        : QAbstractListModel(parent), calendar_(calendar) {}

    // Replaces the rows by these, which are sorted newest first: what is equal stays.
    void setReels(ReelPtrs reels);
    // Call when a day has begun, or the clock was set: titles are another.
    void refreshDays();
    // A reel has a new picture, or has lost it.
    void pictureChanged(const QString& folder, int role, bool hasPicture);

    int count() const { return static_cast<int>(reels_.size()); }
    const ReelPtrs& reels() const { return reels_; }
    // -1 when the list does not hold it.
    Q_INVOKABLE int rowOf(const QString& folder) const;

    // Days newest first, with their title, first row, number of reels and seconds in all.
    const std::vector<DayGroup>& days() const;
    Q_INVOKABLE QVariantList dayList() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

  signals:
    void countChanged();
    void daysChanged();

  private:
    struct Change;
    static std::vector<Change> changesBetween(const ReelPtrs& before, const ReelPtrs& after);
    void apply(const std::vector<Change>& changes, const ReelPtrs& after);
    bool applyMove(const std::vector<Change>& changes, const ReelPtrs& after);

    const DayCalendar& calendar_;
    ReelPtrs reels_;
    mutable std::vector<DayGroup> days_;
    mutable bool hasDays_ = true; // days_ are those of the rows as they are
    QHash<QString, int> cards_;
    QHash<QString, int> scrubs_;
    int lastPicture_ = 0;
    mutable SignatureCache signatures_;
};

} // namespace glintro
