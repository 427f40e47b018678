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

// What to record for an area, in points of the desktop. Fails for an area that is empty or does not lie on
// one display. Where the system's own dialog chooses the display, the area counts from that display's corner.
[[nodiscard]] Result<ContentFilter> filterFor(const Rect& area, const ShareableContent& content);

} // namespace glintro
