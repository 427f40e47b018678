#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sample/AppContent.h"
#include "sample/AppLayout.h"

namespace glintro::sample {

// A number on its way from one value to another, slowing down towards the end.
class Transition {
  public:
    explicit Transition(double value = 0) : from_(value), to_(value) {}
    double at(Seconds time) const;
    double goal() const { return to_; }
    void jump(double value) { from_ = to_ = value; }
    void glide(double value, Seconds now, Seconds duration);

  private:
    double from_;
    double to_;
    Seconds start_ = 0;
    Seconds duration_ = 1;
};

// What the person does, as the application receives it.
struct InputEvent {
    enum class Kind { press, release, key };
    Seconds time = 0;
    Kind kind = Kind::press;
    Point at;              // points
    std::string text = {}; // one typed character
};

struct PlacedTask {
    Task task;
    Transition x;
    Transition y;
};

// The sample application: what it shows follows from the input events alone.
class AppState {
  public:
    explicit AppState(const AppLayout& layout);

    // Events come in ascending order of time.
    void receive(const InputEvent& event);
    Target targetAt(Point pointer, Seconds time) const;
    Rect area(Target target, Seconds time) const;
    bool onBoard(std::string_view title) const;
    const AppLayout& layout() const { return *layout_; }

    Target pressed;
    Part focus = Part::none;
    Seconds lastKey = 0; // the caret is solid for a moment after it

    std::vector<PlacedTask> tasks;
    std::array<std::vector<int>, kColumnCount> columns; // indices into tasks
    struct Drag {
        int task;
        Point grip; // from the card's corner to the pointer
    };
    std::optional<Drag> drag;
    int selectedTask = -1;

    int filter = 0;
    Transition filterShows{1}; // how far the dimming of the other cards has come
    std::string searchText;
    bool menuOpen = false;
    Transition menuShows{0};

    bool dialogOpen = false;
    Transition dialogShows{0};
    std::string title;
    Priority priority = Priority::medium;
    int person = 0;

    std::string toast;
    Seconds toastTime = -100;

  private:
    void press(Point at, Seconds time);
    void release(Point at, Seconds time);
    void type(const std::string& text, Seconds time);
    void activate(Target target, Seconds time);
    void activateInDialog(Target target, Seconds time);
    void closeDialog(Seconds time);
    void createTask(Seconds time);
    void dropCard(const Drag& dropped, Point at, Seconds time);
    void settleCards(Seconds time);
    void announce(std::string text, Seconds time);
    bool shows(Target target) const;

    const AppLayout* layout_;
};

} // namespace glintro::sample
