#include "app/editor/RenderPresetList.h"

#include "app/base/Text.h"

namespace glintro {

int RenderPresetList::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(kRenderPresets.size());
}

QVariant RenderPresetList::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const RenderPreset preset = kRenderPresets[static_cast<std::size_t>(index.row())];
    const ExportOptions chosen = optionsOf(index.row());
    switch (role) {
        case IdentifierRole:
            return toQt(identifier(preset));
        case TitleRole:
        case Qt::DisplayRole:
            return toQt(title(preset));
        case SubtitleRole:
            return toQt(subtitle(preset, choices_));
        case LabelRole:
            return toQt(chosen.label());
        case AspectRole:
            return chosen.aspect ? toQt(storedText(*chosen.aspect)) : QString();
        case FillRole:
            return chosen.fill;
        case HasSizesRole:
            return preset == RenderPreset::master;
        case HasWidthsRole:
            return preset == RenderPreset::gif;
        default:
            return {};
    }
}

QHash<int, QByteArray> RenderPresetList::roleNames() const {
    return {{IdentifierRole, "identifier"}, {TitleRole, "title"},        {SubtitleRole, "subtitle"},
            {LabelRole, "label"},           {AspectRole, "aspect"},      {FillRole, "fill"},
            {HasSizesRole, "hasSizes"},     {HasWidthsRole, "hasWidths"}};
}

void RenderPresetList::setShortSide(int pixels) {
    choose(&RenderChoices::shortSide, pixels, shortSides());
}

void RenderPresetList::setFps(int rate) {
    choose(&RenderChoices::fps, rate, frameRates());
}

void RenderPresetList::setGifWidth(int pixels) {
    choose(&RenderChoices::gifWidth, pixels, gifWidths());
}

void RenderPresetList::choose(int RenderChoices::*choice, int value, const QList<int>& offered) {
    if (choices_.*choice == value || !offered.contains(value)) return;
    choices_.*choice = value;
    emit choicesChanged();
    emit dataChanged(index(0), index(rowCount() - 1), {SubtitleRole, LabelRole});
}

ExportOptions RenderPresetList::optionsOf(int row) const {
    return options(kRenderPresets.at(static_cast<std::size_t>(row)), choices_);
}

} // namespace glintro
