#pragma once

#include "sample/AppFrame.h"
#include "sample/Canvas.h"

namespace glintro::sample {

// What a painter draws from. Painters draw opaquely over what lies below them and leave out what the clip
// hides.
struct Scene {
    const AppLayout& layout;
    const AppState& state;
    const AppFrame& frame;

    bool hovers(Target target) const { return frame.hover == target; }
    bool presses(Target target) const { return frame.pressed == target && frame.hover == target; }
};

void paintDesktop(Canvas& canvas, const AppLayout& layout); // with the window's shadow
void paintTopBar(Canvas& canvas, const Scene& scene);
void paintSidebar(Canvas& canvas, const Scene& scene);
void paintHeaders(Canvas& canvas, const Scene& scene);
void paintBoard(Canvas& canvas, const Scene& scene);
void paintLiftedCard(Canvas& canvas, const Scene& scene); // over everything in the window
void paintMenu(Canvas& canvas, const Scene& scene);
void paintDialog(Canvas& canvas, const Scene& scene);
void paintToast(Canvas& canvas, const Scene& scene);

// Parts that several painters share.
void paintAvatar(Canvas& canvas, int person, Point centre, double radius);
enum class ButtonKind { primary, plain };
void paintButton(Canvas& canvas, const Scene& scene, Target target, const Rect& area, const char* label,
                 ButtonKind kind);
struct FieldContent {
    const std::string& text;
    const char* placeholder;
    bool focused;
    bool caret;
    double left; // free space before the text
};
void paintField(Canvas& canvas, const Rect& area, const FieldContent& content);

} // namespace glintro::sample
