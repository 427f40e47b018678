#include "app/editor/ShotList.h"

#include <algorithm>

#include "app/base/Text.h"
#include "app/pictures/Moments.h"

namespace glintro {
namespace {

// What a view has to read again of a row that shows another shot.
QList<int> changedRoles(const ShotRow& old, const Shot& shot, Seconds outputStart) {
    QList<int> roles;
    if (old.shot.number != shot.number) roles << ShotList::NumberRole;
    if (old.outputStart != outputStart) roles << ShotList::OutputStartRole;
    const bool isMoved = old.shot.start != shot.start || old.shot.end != shot.end;
    const bool isOtherwise =
        old.shot.kind != shot.kind || old.shot.scale != shot.scale || old.shot.rate != shot.rate;
    if (isMoved) roles << ShotList::StartRole << ShotList::EndRole << ShotList::PictureKeyRole;
    if (isOtherwise) roles << ShotList::KindRole << ShotList::ScaleRole << ShotList::RateRole;
    if (isMoved || isOtherwise) roles << ShotList::CaptionRole << ShotList::OutputDurationRole;
    return roles;
}

} // namespace

int ShotList::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant ShotList::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const ShotRow& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case IdentityRole:
            return static_cast<qulonglong>(row.identity);
        case NumberRole:
            return row.shot.number;
        case StartRole:
            return row.shot.start;
        case EndRole:
            return row.shot.end;
        case KindRole:
            return toQt(storedText(row.shot.kind));
        case ScaleRole:
            return row.shot.scale;
        case RateRole:
            return row.shot.rate;
        case CaptionRole:
            return toQt(row.shot.caption());
        case IsSelectedRole:
            return row.isSelected;
        case PictureKeyRole:
            return momentKey(cardMoment(row.shot));
        case OutputStartRole:
            return row.outputStart;
        case OutputDurationRole:
            return row.shot.outputDuration();
        default:
            return {};
    }
}

QHash<int, QByteArray> ShotList::roleNames() const {
    return {{IdentityRole, "identity"},
            {NumberRole, "number"},
            {StartRole, "start"},
            {EndRole, "end"},
            {KindRole, "kind"},
            {ScaleRole, "scale"},
            {RateRole, "rate"},
            {CaptionRole, "caption"},
            {IsSelectedRole, "isSelected"},
            {PictureKeyRole, "pictureKey"},
            {OutputStartRole, "outputStart"},
            {OutputDurationRole, "outputDuration"}};
}

void ShotList::setShots(const std::vector<Shot>& shots) {
    const int before = count();
    const Partners partners = continuedShots(rows_, shots);
    removeRowsWithout(partners);
    insertRowsFor(shots, partners);
    updateRows(shots);
    if (count() != before) emit countChanged();
}

// From the back, so that the rows in front keep their indices; neighbours together.
void ShotList::removeRowsWithout(const Partners& partners) {
    std::vector<bool> stays(rows_.size());
    for (const auto& partner : partners)
        if (partner) stays[*partner] = true;
    for (std::size_t end = rows_.size(); end > 0;) {
        std::size_t first = end;
        while (first > 0 && stays[first - 1] == stays[end - 1]) --first;
        if (!stays[end - 1]) {
            beginRemoveRows({}, static_cast<int>(first), static_cast<int>(end) - 1);
            rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(first),
                        rows_.begin() + static_cast<std::ptrdiff_t>(end));
            endRemoveRows();
        }
        end = first;
    }
}

void ShotList::insertRowsFor(const std::vector<Shot>& shots, const Partners& partners) {
    for (std::size_t first = 0; first < shots.size();) {
        std::size_t end = first;
        while (end < shots.size() && partners[end].has_value() == partners[first].has_value()) ++end;
        if (!partners[first]) {
            std::vector<ShotRow> added;
            for (std::size_t i = first; i < end; ++i)
                added.push_back({.shot = shots[i], .identity = ++lastIdentity_});
            beginInsertRows({}, static_cast<int>(first), static_cast<int>(end) - 1);
            rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(first), added.begin(), added.end());
            endInsertRows();
        }
        first = end;
    }
}

// Neighbours whose same values changed are told of together.
void ShotList::updateRows(const std::vector<Shot>& shots) {
    Seconds outputStart = 0;
    QList<int> told;
    int first = 0;
    const auto tell = [&](int end) {
        if (!told.isEmpty()) emit dataChanged(index(first), index(end - 1), told);
    };
    for (int i = 0; i < count(); ++i) {
        ShotRow& row = rows_[static_cast<std::size_t>(i)];
        const Shot& shot = shots[static_cast<std::size_t>(i)];
        QList<int> roles = changedRoles(row, shot, outputStart);
        row.shot = shot;
        row.outputStart = outputStart;
        outputStart += shot.outputDuration();
        if (roles == told) continue;
        tell(i);
        told = std::move(roles);
        first = i;
    }
    tell(count());
}

std::uint64_t ShotList::identityOf(int number) const {
    return number >= 1 && number <= count() ? rows_[static_cast<std::size_t>(number) - 1].identity : 0;
}

const ShotRow* ShotList::row(std::uint64_t identity) const {
    const auto found = std::ranges::find(rows_, identity, &ShotRow::identity);
    return found == rows_.end() ? nullptr : &*found;
}

void ShotList::setSelected(std::uint64_t identity) {
    for (int i = 0; i < count(); ++i) {
        ShotRow& row = rows_[static_cast<std::size_t>(i)];
        const bool isSelected = row.identity == identity;
        if (std::exchange(row.isSelected, isSelected) != isSelected)
            emit dataChanged(index(i), index(i), {IsSelectedRole});
    }
}

} // namespace glintro
