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

inline constexpr int kColumnCount = 4;

std::span<const Person> people(); // the first is the user
std::span<const Tag> tags();
std::span<const char* const> columnNames();
std::span<const char* const> projectNames();
std::span<const char* const> filterNames();
// Cards of one column of the board when the application opens.
std::span<const Task> openingTasks(int column);

// Texts that the person at the keyboard types.
std::span<const char* const> newTaskTitles();
std::span<const char* const> searches();

} // namespace glintro::sample
