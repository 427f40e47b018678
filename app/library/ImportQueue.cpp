#include "app/library/ImportQueue.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stop_token>
#include <utility>

#include <fmt/format.h>

namespace glintro {
namespace {

// For an import that is stopped by the end of the program to remove what it has made.
constexpr auto kTidyingUp = std::chrono::seconds(2);

// "1.2 of 1.9 GB", both in the unit of the larger one.
std::string amountText(std::uint64_t done, std::uint64_t total) {
    constexpr double kMega = 1e6;
    constexpr double kGiga = 1e9;
    const auto bytes = static_cast<double>(total);
    if (bytes >= kGiga)
        return fmt::format("{:.1f} of {:.1f} GB", static_cast<double>(done) / kGiga, bytes / kGiga);
    return fmt::format("{:.0f} of {:.0f} MB", static_cast<double>(done) / kMega, bytes / kMega);
}

} // namespace

// Shared with the importing thread.
struct ImportQueue::Import {
    ImportRequest request;
    QString name;
    bool isStarted = false; // main thread only
    std::stop_source stop = {};
    std::atomic<std::uint64_t> done = 0;
    std::atomic<std::uint64_t> total = 0;
    std::atomic<bool> isTold = false; // the main thread will look
};

ImportQueue::ImportQueue(QObject* parent)
    : QAbstractListModel(parent), mainThread_(std::make_shared<MainThreadPost>(*this)) {}

ImportQueue::~ImportQueue() {
    mainThread_->close();
    if (imports_.empty()) return;
    imports_.front()->stop.request_stop();
    static_cast<void>(background_.waitUntilIdle(kTidyingUp));
}

void ImportQueue::add(ImportRequest request) {
    const QString name = QString::fromStdString(request.file.filename().string());
    beginInsertRows({}, count(), count());
    imports_.push_back(std::make_shared<Import>(std::move(request), name));
    endInsertRows();
    emit countChanged();
    start();
}

void ImportQueue::start() {
    if (imports_.empty() || imports_.front()->isStarted) return;
    const ImportPtr import = imports_.front();
    import->isStarted = true;
    background_.post([this, mainThread = mainThread_, import] {
        ImportRequest request = import->request;
        request.stop = import->stop.get_token();
        request.progress = [&](const ImportProgress& progress) {
            import->done = progress.done;
            import->total = progress.total;
            if (!import->isTold.exchange(true)) (*mainThread)([this, import] { progressed(import); });
        };
        auto result = importMovie(request);
        (*mainThread)([this, import, result = std::move(result)] { finished(import, result); });
    });
}

int ImportQueue::rowOf(const ImportPtr& import) const {
    const auto found = std::ranges::find(imports_, import);
    return found == imports_.end() ? -1 : static_cast<int>(found - imports_.begin());
}

void ImportQueue::progressed(const ImportPtr& import) {
    import->isTold = false;
    const int row = rowOf(import);
    if (row >= 0) emit dataChanged(index(row), index(row), {ProgressRole, TextRole});
}

void ImportQueue::finished(const ImportPtr& import, const Result<Project>& result) {
    if (const int row = rowOf(import); row >= 0) remove(row);
    if (result)
        emit imported(*result, import->stop.stop_requested());
    else if (!result.error().isCancelled())
        emit failed(QString::fromStdString(result.error().message));
    start();
}

void ImportQueue::cancel(int row) {
    if (row < 0 || row >= count()) return;
    const ImportPtr import = imports_[static_cast<std::size_t>(row)];
    import->stop.request_stop();
    if (import->isStarted) background_.abandon(); // it tidies up on its own thread
    remove(row);
    start();
}

void ImportQueue::remove(int row) {
    beginRemoveRows({}, row, row);
    imports_.erase(imports_.begin() + row);
    endRemoveRows();
    emit countChanged();
}

int ImportQueue::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant ImportQueue::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const Import& import = *imports_[static_cast<std::size_t>(index.row())];
    const std::uint64_t total = import.total;
    const std::uint64_t done = import.done;
    switch (role) {
        case NameRole:
            return import.name;
        case ProgressRole:
            return total == 0 ? 0.0 : static_cast<double>(done) / static_cast<double>(total);
        case TextRole:
            return QStringLiteral("Importing")
                   + (total == 0 ? QString()
                                 : QStringLiteral(" · ") + QString::fromStdString(amountText(done, total)));
        default:
            return {};
    }
}

QHash<int, QByteArray> ImportQueue::roleNames() const {
    return {{NameRole, "name"}, {ProgressRole, "progress"}, {TextRole, "text"}};
}

} // namespace glintro
