#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <cstdint>
#include <optional>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/ScreenCapture.h"
#include "platform/ShareableContent.h"

namespace glintro {

// Which display or window, by the system's identifier.
class CaptureSourceKind {
    Q_GADGET
    Q_PROPERTY(bool isDisplay READ isDisplay FINAL)
    Q_PROPERTY(quint32 id READ id FINAL)

  public:
    CaptureSourceKind() = default;
    static CaptureSourceKind display(std::uint32_t id) { return {Type::display, id}; }
    static CaptureSourceKind window(std::uint32_t id) { return {Type::window, id}; }

    bool isDisplay() const { return type_ == Type::display; }
    bool isWindow() const { return type_ == Type::window; }
    std::uint32_t id() const { return id_; }
    bool operator==(const CaptureSourceKind&) const = default;

  private:
    enum class Type { display, window };

    CaptureSourceKind(Type type, std::uint32_t id) : type_(type), id_(id) {}

    Type type_ = Type::display;
    std::uint32_t id_ = 0;
};

// A display or a window as it is offered to the user.
struct CaptureSource {
    Q_GADGET
    Q_PROPERTY(CaptureSourceKind kind MEMBER kind FINAL)
    Q_PROPERTY(QString title MEMBER title FINAL)
    Q_PROPERTY(QString subtitle MEMBER subtitle FINAL)

  public:
    using Kind = CaptureSourceKind;

    Kind kind;
    QString title;
    QString subtitle;
    bool operator==(const CaptureSource&) const = default;
};

// The displays, in the system's order.
QList<CaptureSource> displaySources(const ShareableContent& content);

// The windows worth offering, front to back: ordinary ones of other applications, larger than 160 × 120
// points.
QList<CaptureSource> windowSources(const ShareableContent& content, std::int64_t ownProcess);

// Whether a display or window is among what can be recorded.
bool isShareable(const CaptureSource::Kind& kind, const ShareableContent& content);

Point centreOf(const Rect& frame);

// The display that shows a point of the desktop.
std::optional<ShareableDisplay> displayAt(Point position, const ShareableContent& content);

// The display on which most of a source is seen: its own, or the one under a window's centre.
std::optional<ShareableDisplay> displayOf(const CaptureSource::Kind& kind, const ShareableContent& content);

// What to record for a display or window.
ContentFilter filterFor(const CaptureSource::Kind& kind);

// The display that shows most of an area, in desktop coordinates; `nullopt` when none shows any of it.
std::optional<ShareableDisplay> displayOf(const Rect& area, const ShareableContent& content);

// What to record for an area, in desktop coordinates: an area across several displays is recorded on the one
// that shows most of it, as far as that shows it. Fails for an area that is empty or reaches beyond the only
// display that shows a part of it. Where the system's own dialog chooses the display, it is the area itself.
[[nodiscard]] Result<ContentFilter> filterFor(const Rect& area, const ShareableContent& content);

} // namespace glintro
