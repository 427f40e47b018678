#include "sample/AppContent.h"

namespace glintro::sample {
namespace {

constexpr std::array<Person, 6> kPeople{{{"Maya Lindqvist", "ML", rgb(0x0C8580)},
                                         {"Tom Okafor", "TO", rgb(0xEE6C4D)},
                                         {"Priya Raman", "PR", rgb(0x7467E8)},
                                         {"Jonas Weber", "JW", rgb(0x2F8FE0)},
                                         {"Elena Costa", "EC", rgb(0xD29A2B)},
                                         {"Sam Whitfield", "SW", rgb(0x2FA36B)}}};

constexpr std::array<Tag, 5> kTags{{{"Design", rgb(0x7467E8)},
                                    {"Shop", rgb(0x0C8580)},
                                    {"Marketing", rgb(0xE2603F)},
                                    {"Website", rgb(0x2F8FE0)},
                                    {"Supplies", rgb(0xB9801C)}}};

constexpr std::array<const char*, kColumnCount> kColumns{"To do", "In progress", "In review", "Done"};
constexpr std::array<const char*, 4> kProjects{"Riverside opening", "Online orders", "Summer menu", "Hiring"};
constexpr std::array<const char*, 4> kFilters{"All tasks", "Assigned to me", "High priority",
                                              "With comments"};
constexpr std::array<const char*, 18> kNewTasks{
    "Order shelves for the window", "Book a photographer",       "Print new allergen cards",
    "Invite the neighbours",        "Check the card reader",     "Translate the menu",
    "Plan the flower delivery",     "Film the opening day",      "Paint the back door",
    "Taste the rye samples",        "Hang the pendant lamps",    "Update the price list",
    "Thank the carpenters",         "Pick the opening playlist", "Order linen aprons",
    "Count the bread baskets",      "Write the first job ad",    "Test the coffee grinder"};

constexpr std::array<const char*, 5> kSearches{"menu", "window", "photo", "oven", "sign"};

const std::array<std::array<Task, 4>, kColumnCount>& board() {
    using enum Priority;
    static const std::array<std::array<Task, 4>, kColumnCount> tasks{
        {{{{"Choose tiles for the counter", 0, 2, "14 May", 3, medium},
           {"Write the opening newsletter", 2, 4, "16 May", 5, high},
           {"Compare prices for paper bags", 4, 5, "19 May", 0, low},
           {"Plan the tasting menu for neighbours", 1, 0, "21 May", 2, medium}}},
         {{{"Draw the sign above the door", 0, 2, "8 May", 8, high},
           {"Online orders: pick-up times", 3, 3, "9 May", 4, medium},
           {"Train the new colleagues at the counter", 1, 1, "12 May", 1, medium},
           {"Photos for the front page", 2, 4, "13 May", 0, low}}},
         {{{"Menu cards with allergens", 0, 0, "6 May", 6, high},
           {"Move the loading bay to the side street", 1, 5, "7 May", 0, low},
           {"Opening hours in both languages", 3, 3, "7 May", 2, medium},
           {}}},
         {{{"Sign the lease for Riverside", 1, 0, "28 Apr", 4, high},
           {"Order the second oven", 4, 1, "30 Apr", 3, medium},
           {"Pick the colours for the walls", 0, 2, "2 May", 7, low},
           {}}}}};
    return tasks;
}

} // namespace

std::span<const Person> people() {
    return kPeople;
}
std::span<const Tag> tags() {
    return kTags;
}
std::span<const char* const> columnNames() {
    return kColumns;
}
std::span<const char* const> projectNames() {
    return kProjects;
}
std::span<const char* const> filterNames() {
    return kFilters;
}
std::span<const char* const> newTaskTitles() {
    return kNewTasks;
}
std::span<const char* const> searches() {
    return kSearches;
}

std::span<const Task> openingTasks(int column) {
    const auto& tasks = board()[static_cast<std::size_t>(column)];
    return std::span(tasks).first(tasks[3].title.empty() ? 3 : 4);
}

} // namespace glintro::sample
