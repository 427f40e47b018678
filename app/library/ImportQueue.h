#pragma once

#include <QAbstractListModel>
#include <QString>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/library/ReelImport.h"

namespace glintro {

// The imports that run and wait, as rows; they run one after the other in the background. A row goes when its
// import has ended. One that is cancelled goes at once, and its files are removed in the background: a
// disk that hangs holds up nobody. Main thread.
class ImportQueue : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged FINAL)

  public:
    enum Role {
        NameRole = Qt::DisplayRole,  // the file's
        ProgressRole = Qt::UserRole, // 0 to 1
        TextRole,                    // "Importing · 1.2 of 1.9 GB"
    };

    explicit ImportQueue(QObject* parent = nullptr);
    // Stops what runs, and waits a moment until it has tidied up.
    ~ImportQueue() override;

    // Its `progress` and `stop` are the queue's own.
    void add(ImportRequest request);
    Q_INVOKABLE void cancel(int row);

    int count() const { return static_cast<int>(imports_.size()); }
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

  signals:
    void countChanged();
    // One that was cancelled in its last moment is a reel nevertheless.
    void imported(const glintro::Project& project, bool wasCancelled);
    void failed(const QString& message);

  private:
    struct Import;
    using ImportPtr = std::shared_ptr<Import>;
    void start();
    int rowOf(const ImportPtr& import) const;
    void progressed(const ImportPtr& import);
    void finished(const ImportPtr& import, const Result<Project>& result);
    void remove(int row);

    std::vector<ImportPtr> imports_; // the first one runs
    std::shared_ptr<MainThreadPost> mainThread_;
    BackgroundQueue background_;
};

} // namespace glintro
