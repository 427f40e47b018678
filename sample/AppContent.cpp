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
constexpr std::array<const char*, 4> kTotals{"Visitors", "Orders", "Average basket", "Returning"};
constexpr std::array<const char*, 5> kSources{"Newsletter", "Search", "Social", "Walk-in", "Partners"};

constexpr std::array<Series, 3> kPeriods{
    {{"Week",
      {3.1, 3.4, 3.0, 3.8, 4.4, 5.6, 5.9, 4.1, 3.9, 4.6, 5.2, 6.4},
      {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun", "Mon", "Tue", "Wed", "Thu", "Fri"},
      {12480, 1846, 18.2, 41},
      {0.34, 0.26, 0.19, 0.13, 0.08}},
     {"Month",
      {2.2, 2.6, 2.5, 3.3, 3.1, 4.0, 4.7, 4.4, 5.3, 5.1, 6.2, 6.8},
      {"1", "3", "6", "9", "11", "14", "16", "19", "21", "24", "27", "30"},
      {48920, 7214, 19.6, 44},
      {0.27, 0.31, 0.17, 0.16, 0.09}},
     {"Year",
      {1.4, 1.7, 2.4, 2.1, 2.9, 3.8, 4.5, 4.2, 5.0, 5.8, 6.1, 7.2},
      {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"},
      {572300, 84650, 17.9, 38},
      {0.29, 0.23, 0.24, 0.14, 0.10}}}};

constexpr std::array<const char*, 18> kNewTasks{
    "Order shelves for the window", "Book a photographer",       "Print new allergen cards",
    "Invite the neighbours",        "Check the card reader",     "Translate the menu",
    "Plan the flower delivery",     "Film the opening day",      "Paint the back door",
    "Taste the rye samples",        "Hang the pendant lamps",    "Update the price list",
    "Thank the carpenters",         "Pick the opening playlist", "Order linen aprons",
    "Count the bread baskets",      "Write the first job ad",    "Test the coffee grinder"};

constexpr std::array<const char*, 6> kReplies{
    "Looks lovely, let's go with the second one.", "Thanks! I will bring samples on Thursday.",
    "Good idea. Could you book them for 9 am?",    "Perfect, I have added it to the board.",
    "Yes please, that works for both of us.",      "Great news! I will tell the team."};

constexpr std::array<const char*, 5> kSearches{"menu", "window", "photo", "oven", "sign"};

constexpr std::array<Message, 24> kMessages{
    {{2, "Shop sign: three drafts to choose from",
      "Hi Maya, here are three drafts for the sign above the door. The first keeps the round letters of our "
      "paper "
      "bags, the second is a little quieter and reads better from across the river. My favourite is the "
      "second. "
      "Shall I ask the sign maker for a price today?",
      "9:32"},
     {1, "Oven delivery moved to Tuesday",
      "The carrier called: the big oven comes on Tuesday between eight and ten. They need the back gate open "
      "and "
      "somebody to sign. I can be there from half past seven, Jonas will help with the old trolley.",
      "9:10"},
     {4, "Photos for the newsletter",
      "I picked twelve photos from Saturday and made them a bit warmer. The cinnamon rolls came out best. "
      "Have a look "
      "and tell me which one goes on top, then I will send the draft to everybody for a last check.",
      "8:54"},
     {3, "Website: opening hours are live",
      "The new opening hours are online, in both languages. Search engines usually need a day or two. I have "
      "also "
      "made the map larger on phones, because people kept asking for the entrance.",
      "8:31"},
     {5, "Flour prices for the autumn",
      "The mill holds its price until the end of October if we order for both shops together. Delivery would "
      "be every "
      "second Monday. I think we should take it, the quality has been very even this year.",
      "Yesterday"},
     {2, "Colours for the paper bags",
      "The printer can match the green, but the orange turns out darker on brown paper. I have put two "
      "samples on "
      "your desk. With the lighter one the logo is easier to read.",
      "Yesterday"},
     {1, "Saturday shift swap",
      "Sam and I would like to swap our Saturdays. He opens, I close, and the training in the afternoon "
      "stays as it "
      "is. Is that fine with you?",
      "Yesterday"},
     {4, "Tasting with the neighbours",
      "Eleven people have said yes so far. I would set up two long tables by the window and serve small "
      "pieces of "
      "everything. If it rains we simply move inside.",
      "Yesterday"},
     {3, "Order form: first numbers",
      "Ninety-four orders in the first week, most of them between six and nine in the evening. Only three "
      "people "
      "stopped at the payment page, so the shorter form seems to work.",
      "Monday"},
     {5, "Shelves for the window",
      "The carpenter can build them from oak in two weeks. Painted pine would be faster and cheaper, but it "
      "will not "
      "look as good next to the counter. I have attached his sketch.",
      "Monday"},
     {2, "Menu cards, last check",
      "Please read the allergens once more before I send the cards to print. Walnut and hazelnut were "
      "swapped in the "
      "old version. Everything else is as we agreed.",
      "Monday"},
     {1, "Coffee machine service",
      "The technician was here this morning. New seals, everything clean, pressure back to normal. The next "
      "service "
      "is due in March.",
      "Monday"},
     {4, "Local paper wants a story",
      "They would like to come on opening day and speak with one of us for ten minutes. I said you might be "
      "interested. They bring their own photographer.",
      "Friday"},
     {3, "Card reader update",
      "Both readers run the new version now. Contactless is noticeably quicker. If one of them asks for a "
      "code, it is "
      "in the drawer.",
      "Friday"},
     {5, "Parking permit approved",
      "Good news, the city has approved the loading bay in front of the shop from six to nine in the "
      "morning.",
      "Friday"},
     {2, "Window lettering",
      "I have drawn the lettering in its real size and taped it to the glass. Walk past and tell me what you "
      "think.",
      "Friday"},
     {1, "Training plan for new colleagues",
      "Two days at the counter, two days in the kitchen, one day for questions. I will write it down "
      "properly.",
      "Thursday"},
     {4, "Autumn newsletter outline",
      "Opening, new menu, the mill, and one recipe at the end. Short texts, large pictures.", "Thursday"},
     {3, "Backups moved to the new server",
      "Everything has been copied and checked twice. You will notice nothing.", "Thursday"},
     {5, "Sugar and butter order", "Same as last month, with ten kilos more of each for the opening week.",
      "Thursday"},
     {2, "Apron samples", "Linen or cotton? Both are here. The linen is nicer, the cotton is easier to wash.",
      "Wednesday"},
     {1, "Keys for the back door", "Three new keys are in the safe. The old lock has been thrown away.",
      "Wednesday"},
     {4, "Music for the evening", "A trio from the music school would play for an hour. Should I ask them?",
      "Wednesday"},
     {3, "Phone number on the website", "Changed on all pages, also in the footer.", "Wednesday"}}};

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
std::span<const Series> periods() {
    return kPeriods;
}
std::span<const char* const> totalNames() {
    return kTotals;
}
std::span<const char* const> sourceNames() {
    return kSources;
}
std::span<const Message> messages() {
    return kMessages;
}
std::span<const char* const> newTaskTitles() {
    return kNewTasks;
}
std::span<const char* const> replies() {
    return kReplies;
}
std::span<const char* const> searches() {
    return kSearches;
}

std::span<const Task> openingTasks(int column) {
    const auto& tasks = board()[static_cast<std::size_t>(column)];
    return std::span(tasks).first(tasks[3].title.empty() ? 3 : 4);
}

} // namespace glintro::sample
