#include "app/library/ReelList.h"

#include <QDateTime>
#include <QSizeF>
#include <algorithm>
#include <utility>

#include "core/model/Enumerations.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

// More changes at once than a view follows one by one.
constexpr std::size_t kMostChanges = 64;

bool isBefore(const ReelPtr& a, const ReelPtr& b) {
    return isListedBefore(a->project, b->project);
}

QVariantMap backdropOf(const ProjectSettings& settings) {
    const auto text = [](std::string_view stored) {
        return QString::fromUtf8(stored.data(), static_cast<qsizetype>(stored.size()));
    };
    return {{"background", text(storedText(settings.background))},
            {"gradientIndex", static_cast<qlonglong>(settings.gradientIndex)},
            {"solidHex", QString::fromStdString(settings.solidHex)},
            {"padding", settings.padding},
            {"cornerRadius", settings.cornerRadius},
            {"shadow", settings.shadow},
            {"aspect", text(storedText(settings.aspect))}};
}

} // namespace

// A run of rows. Positions count the rows as the changes before it have left them.
struct ReelList::Change {
    enum class Kind { insert, remove, replace };
    Kind kind;
    std::size_t row = 0;
    std::size_t count = 0;
    std::size_t from = 0; // first row in the new list, of what is inserted or replaces
};

// Both lists are in one order: one walk along both finds all that differs.
std::vector<ReelList::Change> ReelList::changesBetween(const ReelPtrs& before, const ReelPtrs& after) {
    using enum Change::Kind;
    std::vector<Change> changes;
    std::size_t row = 0;
    const auto add = [&](Change::Kind kind, std::size_t from) {
        const bool continues = !changes.empty() && changes.back().kind == kind
                               && changes.back().row + (kind == remove ? 0 : changes.back().count) == row;
        if (continues)
            ++changes.back().count;
        else
            changes.push_back({kind, row, 1, from});
    };
    for (std::size_t i = 0, k = 0; i < before.size() || k < after.size();) {
        const bool isOld = k == after.size() || (i < before.size() && isBefore(before[i], after[k]));
        const bool isNew = !isOld && (i == before.size() || isBefore(after[k], before[i]));
        if (isOld) {
            add(remove, 0);
            ++i;
            continue;
        }
        if (isNew) {
            add(insert, k);
        } else {
            if (before[i] != after[k] && !isSame(*before[i], *after[k])) add(replace, k);
            ++i;
        }
        ++k;
        ++row;
    }
    return changes;
}

void ReelList::setReels(ReelPtrs reels) {
    const auto changes = changesBetween(reels_, reels);
    if (changes.empty()) {
        reels_ = std::move(reels);
        return;
    }
    const int before = count();
    if (changes.size() > kMostChanges) {
        beginResetModel();
        reels_ = std::move(reels);
        hasDays_ = false;
        endResetModel();
    } else if (!applyMove(changes, reels)) {
        apply(changes, reels);
        reels_ = std::move(reels);
    }
    if (count() != before) emit countChanged();
    emit daysChanged();
}

void ReelList::apply(const std::vector<Change>& changes, const ReelPtrs& after) {
    using enum Change::Kind;
    for (const Change& change : changes) {
        const auto first = static_cast<int>(change.row);
        const auto last = static_cast<int>(change.row + change.count) - 1;
        const auto at = reels_.begin() + first;
        const auto source = after.begin() + static_cast<std::ptrdiff_t>(change.from);
        const auto sourceEnd = source + static_cast<std::ptrdiff_t>(change.count);
        if (change.kind == remove) {
            beginRemoveRows({}, first, last);
            reels_.erase(at, at + (last + 1 - first));
            hasDays_ = false;
            endRemoveRows();
        } else if (change.kind == insert) {
            beginInsertRows({}, first, last);
            reels_.insert(at, source, sourceEnd);
            hasDays_ = false;
            endInsertRows();
        } else {
            std::copy(source, sourceEnd, at);
            hasDays_ = false;
            emit dataChanged(index(first), index(last));
        }
    }
}

// A reel whose date has changed is the same row in another place.
bool ReelList::applyMove(const std::vector<Change>& changes, const ReelPtrs& after) {
    using enum Change::Kind;
    if (changes.size() != 2 || changes[0].count != 1 || changes[1].count != 1) return false;
    if (changes[0].kind == changes[1].kind || changes[0].kind == replace || changes[1].kind == replace)
        return false;
    const Change& insertion = changes[changes[0].kind == insert ? 0 : 1];
    const ReelPtr& moved = after[insertion.from];
    const int from = rowOf(moved->folder);
    const int to = static_cast<int>(insertion.from);
    if (from < 0 || from == to) return false;
    beginMoveRows({}, from, from, {}, to > from ? to + 1 : to);
    reels_ = after;
    hasDays_ = false;
    endMoveRows();
    emit dataChanged(index(to), index(to));
    return true;
}

// Grouping asks the calendar for every day of a library: once for a change, however many rows it takes.
const std::vector<DayGroup>& ReelList::days() const {
    if (std::exchange(hasDays_, true)) return days_;
    std::vector<Timestamp> times;
    times.reserve(reels_.size());
    for (const ReelPtr& reel : reels_) times.push_back(reel->project.info.created);
    days_ = dayGroups(times, calendar_);
    return days_;
}

void ReelList::refreshDays() {
    hasDays_ = false;
    if (!reels_.empty())
        emit dataChanged(index(0), index(count() - 1), {DayRole, DayTitleRole, TimeOfDayRole});
    emit daysChanged();
}

int ReelList::rowOf(const QString& folder) const {
    const auto found =
        std::ranges::find_if(reels_, [&](const ReelPtr& reel) { return reel->folder == folder; });
    return found == reels_.end() ? -1 : static_cast<int>(found - reels_.begin());
}

void ReelList::pictureChanged(const QString& folder, int role, bool hasPicture) {
    QHash<QString, int>& pictures = role == ScrubRole ? scrubs_ : cards_;
    if (hasPicture)
        pictures[folder] = ++lastPicture_;
    else
        pictures.remove(folder);
    const int row = rowOf(folder);
    if (row >= 0) emit dataChanged(index(row), index(row), {role});
}

QVariantList ReelList::dayList() const {
    QVariantList list;
    const QDate today = calendar_.today();
    for (const DayGroup& day : days()) {
        Seconds duration = 0;
        for (qsizetype i = day.first; i < day.first + day.count; ++i)
            duration += reels_[static_cast<std::size_t>(i)]->project.info.duration;
        list.append(QVariantMap{{"day", day.day},
                                {"title", calendar_.title(day.day, today)},
                                {"firstRow", day.first},
                                {"count", day.count},
                                {"duration", duration},
                                {"durationText", QString::fromStdString(formatTime(duration))}});
    }
    return list;
}

int ReelList::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant ReelList::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const ReelPtr& reel = reels_[static_cast<std::size_t>(index.row())];
    const ProjectInfo& info = reel->project.info;
    switch (role) {
        case NameRole:
            return reel->name;
        case FolderRole:
            return reel->folder;
        case DurationRole:
            return info.duration;
        case DurationTextRole:
            return QString::fromStdString(formatTime(info.duration));
        case CreatedRole:
            return calendar_.dateTimeOf(info.created);
        case TimeOfDayRole:
            return calendar_.timeOfDay(info.created);
        case HasCameraRole:
            return info.hasCamera;
        case HasAudioRole:
            return info.hasAudio;
        case IsImportedRole:
            return reel->isImported;
        case DayRole:
            return calendar_.dayOf(info.created);
        case DayTitleRole:
            return calendar_.title(calendar_.dayOf(info.created));
        case SignatureRole:
            return QVariant::fromValue(signatures_.of(reel));
        case BackdropRole:
            return backdropOf(info.settings);
        case SourceSizeRole:
            return QSizeF(info.width, info.height);
        case PictureRole:
            return cards_.value(reel->folder);
        case ScrubRole:
            return scrubs_.value(reel->folder);
        default:
            return {};
    }
}

QHash<int, QByteArray> ReelList::roleNames() const {
    return {{NameRole, "name"},
            {FolderRole, "folder"},
            {DurationRole, "duration"},
            {DurationTextRole, "durationText"},
            {CreatedRole, "created"},
            {TimeOfDayRole, "timeOfDay"},
            {HasCameraRole, "hasCamera"},
            {HasAudioRole, "hasAudio"},
            {IsImportedRole, "isImported"},
            {DayRole, "day"},
            {DayTitleRole, "dayTitle"},
            {SignatureRole, "signature"},
            {BackdropRole, "backdrop"},
            {SourceSizeRole, "sourceSize"},
            {PictureRole, "picture"},
            {ScrubRole, "scrub"}};
}

} // namespace glintro
