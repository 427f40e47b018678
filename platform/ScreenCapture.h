#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

#include "core/base/Failure.h"
#include "platform/BgraPicture.h"
#include "platform/ScreenStream.h"
#include "platform/ShareableContent.h"

namespace glintro {

// A display, or an area of it, without this program's own windows.
struct DisplayFilter {
    std::uint32_t display = 0;
    // Desktop coordinates, on the display; the whole display when absent.
    std::optional<Rect> area = {};
};

// One window alone, even while others cover it.
struct WindowFilter {
    std::uint32_t window = 0;
};

using ContentFilter = std::variant<DisplayFilter, WindowFilter>;

// The system's way to show its screens to a program.
class ScreenCapture {
  public:
    virtual ~ScreenCapture() = default;

    // Whether the system lets this program record the screen, as far as can be told without asking the user.
    virtual bool hasAccess() = 0;

    [[nodiscard]] virtual Result<ShareableContent> content() = 0;

    // What a display, area or window shows now, at most `maxSide` pixels (1 or more) along its longer side: a
    // thumbnail to choose by, or the backdrop of an area picker. Asks nobody, and shows the same as a stream:
    // a window also while others cover it, a display without this program's own windows, neither with the
    // pointer. Fails when what the filter names does not exist, or is minimised, and always where
    // `chosenInDialog` says that the system lets the user choose. Takes a tenth of a second or so: not for
    // the main thread. Several threads may call it at the same time.
    [[nodiscard]] virtual Result<BgraPicture> picture(const ContentFilter& /*filter*/, int /*maxSide*/) {
        return failure("This desktop shows no picture of its screens before a recording begins.");
    }

    // Fails when what the filter names does not exist, or its area lies outside of the display. May ask the
    // user, and then lasts as long as they think; a stop request withdraws the question, and the failure is a
    // cancelled one, as it is, with a sentence of its own, when the user refuses. Not for the main thread.
    [[nodiscard]] virtual Result<std::unique_ptr<ScreenStream>> open(const ContentFilter& filter,
                                                                     std::stop_token cancel) = 0;

    // Where the system's dialog is skipped in favour of what the user chose the last time, the next open()
    // shows it again. From any thread.
    virtual void forgetChoice() {}

    // Where the system's dialog chooses: what the user calls the source they want, empty for none. A choice
    // made before is then used only if it was made under the same name. From any thread, before open().
    virtual void nameChoice(const std::string& /*name*/) {}
};

} // namespace glintro
