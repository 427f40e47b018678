#include "app/editor/LookChoice.h"

#include <utility>

namespace glintro {

LookChoice::LookChoice(ReelEdits& edits, QObject* parent) : QObject(parent), edits_(edits) {
    updateCurrent();
    connect(&edits, &ReelEdits::changed, this, &LookChoice::updateCurrent);
}

void LookChoice::updateCurrent() {
    const auto look = Look::current(edits_.settings());
    const QString name = look ? QString::fromStdString(look->name) : QString();
    if (std::exchange(current_, name) != name) emit currentChanged();
}

QString LookChoice::hovered() const {
    return hovered_ ? QString::fromStdString(hovered_->name) : QString();
}

void LookChoice::applyLook(const QString& name) {
    const auto look = Look::named(name.toStdString());
    if (!look) return;
    hover({});
    edits_.edit([&](ProjectSettings& settings) { look->apply(settings); });
}

void LookChoice::hover(const QString& name) {
    auto look = Look::named(name.toStdString());
    if (std::exchange(hovered_, look) != look) emit hoveredChanged();
}

ProjectSettings LookChoice::shown() const {
    return hovered_ ? hovered_->applied(edits_.settings()) : edits_.settings();
}

} // namespace glintro
