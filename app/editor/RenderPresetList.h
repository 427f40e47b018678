#pragma once

#include <QAbstractListModel>
#include <QList>

#include "app/editor/RenderPreset.h"

namespace glintro {

// The presets of the export sheet as rows, and what the user chooses for them. Lines that tell of a choice
// change with it. Lives on the main thread.
class RenderPresetList : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int shortSide READ shortSide WRITE setShortSide NOTIFY choicesChanged FINAL)
    Q_PROPERTY(int fps READ fps WRITE setFps NOTIFY choicesChanged FINAL)
    Q_PROPERTY(int gifWidth READ gifWidth WRITE setGifWidth NOTIFY choicesChanged FINAL)
    Q_PROPERTY(QList<int> shortSides READ shortSides CONSTANT FINAL)
    Q_PROPERTY(QList<int> frameRates READ frameRates CONSTANT FINAL)
    Q_PROPERTY(QList<int> gifWidths READ gifWidths CONSTANT FINAL)

  public:
    enum Role {
        IdentifierRole = Qt::UserRole,
        TitleRole,
        SubtitleRole,
        LabelRole,     // what would be rendered: "1080p · 60 fps"
        AspectRole,    // "16:9" and so on; empty for the reel's own
        FillRole,      // the recording is cropped to fill the canvas
        HasSizesRole,  // honours shortSide and fps
        HasWidthsRole, // honours gifWidth
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Pixels, and frames a second. A value that is not among those offered is ignored.
    int shortSide() const { return choices_.shortSide; }
    int fps() const { return choices_.fps; }
    int gifWidth() const { return choices_.gifWidth; }
    void setShortSide(int pixels);
    void setFps(int rate);
    void setGifWidth(int pixels);
    static QList<int> shortSides() { return {kShortSides.begin(), kShortSides.end()}; }
    static QList<int> frameRates() { return {kFrameRates.begin(), kFrameRates.end()}; }
    static QList<int> gifWidths() { return {kGifWidths.begin(), kGifWidths.end()}; }

    // What ExportJob::run is given for a row of the list.
    ExportOptions optionsOf(int row) const;

  signals:
    void choicesChanged();

  private:
    void choose(int RenderChoices::*choice, int value, const QList<int>& offered);

    RenderChoices choices_;
};

} // namespace glintro
