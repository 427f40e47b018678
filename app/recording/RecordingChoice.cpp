#include "app/recording/RecordingChoice.h"

#include <utility>

#include <unistd.h>

namespace glintro {

QString title(RecordingChoice::Mode mode) {
    using enum RecordingChoice::Mode;
    if (mode == display) return QStringLiteral("Screen");
    return mode == window ? QStringLiteral("Window") : QStringLiteral("Area");
}

void RecordingChoice::offer(ShareableContent content) {
    content_ = std::move(content);
    displays_ = displaySources(content_);
    windows_ = windowSources(content_, ::getpid());
    selectOffered();
}

void RecordingChoice::selectOffered() {
    if (mode_ == Mode::area) return;
    const bool wantsDisplay = mode_ == Mode::display;
    if (selection_ && selection_->isDisplay() == wantsDisplay && isShareable(*selection_, content_)) return;
    const QList<CaptureSource>& offered = wantsDisplay ? displays_ : windows_;
    selection_ = offered.isEmpty() ? std::nullopt : std::optional(offered.front().kind);
}

void RecordingChoice::setMode(Mode mode) {
    mode_ = mode;
    selectOffered();
}

void RecordingChoice::select(const CaptureSource::Kind& kind) {
    mode_ = kind.isDisplay() ? Mode::display : Mode::window;
    selection_ = kind;
}

void RecordingChoice::setArea(const Rect& area) {
    mode_ = Mode::area;
    area_ = area;
}

bool RecordingChoice::isComplete() const {
    if (mode_ == Mode::area) return area_.has_value();
    return selection_ && selection_->isDisplay() == (mode_ == Mode::display);
}

Result<ContentFilter> RecordingChoice::filter() const {
    if (mode_ == Mode::area) return filterFor(*area_, content_);
    return filterFor(*selection_);
}

std::optional<ShareableDisplay> RecordingChoice::targetScreen() const {
    std::optional<ShareableDisplay> screen;
    if (mode_ == Mode::area && area_) screen = displayOf(*area_, content_);
    if (mode_ != Mode::area && selection_) screen = displayOf(*selection_, content_);
    if (screen || content_.displays.empty()) return screen;
    return content_.displays.front();
}

} // namespace glintro
