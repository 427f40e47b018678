#pragma once

#include <string_view>
#include <vector>

#include "sample/AppState.h"
#include "sample/PointerPath.h"
#include "sample/Random.h"

namespace glintro::sample {

// Writes down what a person does with the application, one gesture after the other, and keeps an application
// of its own up to date on the way, so that each gesture finds its targets where they then are. A copy is an
// independent continuation.
class ScriptWriter {
  public:
    ScriptWriter(const AppLayout& layout, Random random);

    void rest(Seconds shortest, Seconds longest);
    void hover(Target target);
    void click(Target target);
    void type(std::string_view text);
    void dragCard(int task, int column, int row);

    Seconds now() const { return now_; }
    const AppState& state() const { return state_; }
    Random& random() { return random_; }
    const PointerPath& path() const { return path_; }
    const std::vector<InputEvent>& inputs() const { return inputs_; }

  private:
    void send(InputEvent::Kind kind, Point at);
    void pressHere();
    Point spotIn(Target target);

    AppState state_;
    Random random_;
    PointerPath path_;
    std::vector<InputEvent> inputs_;
    Seconds now_ = 0;
};

} // namespace glintro::sample
