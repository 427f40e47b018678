#include "app/recording/RecordingSources.h"

#include <QRectF>
#include <utility>

namespace glintro {

void RecordingSources::offer(ShareableContent content) {
    choice_.offer(std::move(content));
    emit offerChanged();
    emit choiceChanged();
}

void RecordingSources::setMode(Mode mode) {
    choice_.setMode(mode);
    emit choiceChanged();
}

void RecordingSources::select(const CaptureSource::Kind& kind) {
    choice_.select(kind);
    emit choiceChanged();
}

void RecordingSources::setArea(const Rect& area) {
    choice_.setArea(area);
    emit choiceChanged();
}

QVariant RecordingSources::selectionValue() const {
    return selection() ? QVariant::fromValue(*selection()) : QVariant();
}

QVariant RecordingSources::areaValue() const {
    return area() ? QVariant(QRectF(area()->x, area()->y, area()->width, area()->height)) : QVariant();
}

} // namespace glintro
