#pragma once

#include <array>
#include <span>
#include <string>

#include "sample/Theme.h"

namespace glintro::sample {

// What the sample application shows: a small company plans the opening of its second bakery.
struct Person {
    const char* name;
    const char* initials;
    Colour colour;
};

struct Tag {
    const char* name;
    Colour colour;
};

enum class Priority { low, medium, high };

struct Task {
    std::string title;
    int tag = 0;    // into tags()
    int person = 0; // into people()
    const char* due = "";
    int comments = 0;
    Priority priority = Priority::medium;
};

struct Message {
    int person;
    const char* subject;
    const char* body;
    const char* time;
};

struct Series {
    const char* name;
    std::array<double, 12> visits; // one value for each label, thousands
    std::array<const char*, 12> labels;
    std::array<double, 4> totals;  // in the order of totalNames()
    std::array<double, 5> sources; // shares in 0..1, in the order of sourceNames()
};

inline constexpr int kColumnCount = 4;

std::span<const Person> people(); // the first is the user
std::span<const Tag> tags();
std::span<const char* const> columnNames();
std::span<const char* const> projectNames();
std::span<const char* const> filterNames();
std::span<const Series> periods();
std::span<const char* const> totalNames();
std::span<const char* const> sourceNames();
std::span<const Message> messages();
// Cards of one column of the board when the application opens.
std::span<const Task> openingTasks(int column);

// Texts that the person at the keyboard types.
std::span<const char* const> newTaskTitles();
std::span<const char* const> replies();
std::span<const char* const> searches();

} // namespace glintro::sample
