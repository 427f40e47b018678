#include "app/shell/ListCommand.h"

#include <QString>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/library/DayGroups.h"
#include "app/library/LibraryScan.h"
#include "app/library/LibrarySearch.h"
#include "app/shell/JsonOutput.h"
#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// Keeps what a query finds. A folder that is no reel yet goes by its own name, which recovery would give it.
void keepFound(FolderContent& content, const std::string& query) {
    const QString wanted = foldedQuery(QString::fromStdString(query));
    const auto misses = [&](const std::string& name) {
        return !containsFolded(foldedForSearch(QString::fromStdString(name)), wanted);
    };
    const auto missesFolder = [&](const fs::path& folder) { return misses(folder.filename().string()); };
    std::erase_if(content.reels, [&](const ListedReel& reel) { return misses(reel.project.info.name); });
    std::erase_if(content.damaged, missesFolder);
    std::erase_if(content.interrupted, missesFolder);
}

class LibraryReport {
  public:
    LibraryReport(const FolderContent& content, const fs::path& root, const Console& console)
        : content_(content), root_(root), console_(console) {}

    void print() const;
    void printJson() const;

  private:
    std::vector<DayGroup> days() const;
    std::string folderText(const fs::path& folder) const;
    void printDay(const DayGroup& day, int widest) const;
    void printFolders(const std::vector<fs::path>& folders, const char* heading) const;
    nlohmann::json toJson(const ListedReel& reel) const;

    const FolderContent& content_;
    const fs::path& root_;
    const Console& console_;
    DayCalendar calendar_;
};

std::vector<DayGroup> LibraryReport::days() const {
    std::vector<Timestamp> created;
    created.reserve(content_.reels.size());
    for (const ListedReel& reel : content_.reels) created.push_back(reel.project.info.created);
    return dayGroups(created, calendar_);
}

// Relative to the library: short, and what other commands accept.
std::string LibraryReport::folderText(const fs::path& folder) const {
    return printable(folder.lexically_relative(root_).string());
}

void LibraryReport::print() const {
    int widest = 0;
    for (const ListedReel& reel : content_.reels)
        widest = std::max(widest, columnsOf(folderText(reel.project.folder())));
    for (const DayGroup& day : days()) printDay(day, widest);
    printFolders(content_.damaged, "Damaged: “glintro recover FOLDER” rebuilds them");
    printFolders(content_.interrupted, "Interrupted: “glintro recover FOLDER” completes them");
}

void LibraryReport::printDay(const DayGroup& day, int widest) const {
    fmt::print(console_.out, "{}\n", calendar_.title(day.day).toStdString());
    for (qsizetype i = day.first; i < day.first + day.count; ++i) {
        const Project& reel = content_.reels[static_cast<std::size_t>(i)].project;
        fmt::print(console_.out, "  {:>8}  {:>8}  {:<{}}  {}\n",
                   calendar_.timeOfDay(reel.info.created).toStdString(), timecode(reel.info.duration),
                   folderText(reel.folder()), widest, printable(reel.info.name));
    }
}

void LibraryReport::printFolders(const std::vector<fs::path>& folders, const char* heading) const {
    if (!folders.empty()) fmt::print(console_.out, "{}\n", heading);
    for (const fs::path& folder : folders) fmt::print(console_.out, "  {}\n", printable(folder.string()));
}

nlohmann::json LibraryReport::toJson(const ListedReel& reel) const {
    const ProjectInfo& info = reel.project.info;
    return {{"reel", reel.project.folder().string()},
            {"name", info.name},
            {"created", timestampText(info.created).value_or("")},
            {"day", calendar_.title(calendar_.dayOf(info.created)).toStdString()},
            {"duration", info.duration},
            {"width", info.width},
            {"height", info.height},
            {"hasCamera", info.hasCamera},
            {"hasAudio", info.hasAudio},
            {"isImported", reel.isImported}};
}

void LibraryReport::printJson() const {
    nlohmann::json all{{"library", root_.string()},
                       {"reels", nlohmann::json::array()},
                       {"damaged", nlohmann::json::array()},
                       {"interrupted", nlohmann::json::array()}};
    for (const ListedReel& reel : content_.reels) all["reels"].push_back(toJson(reel));
    for (const fs::path& folder : content_.damaged) all["damaged"].push_back(folder.string());
    for (const fs::path& folder : content_.interrupted) all["interrupted"].push_back(folder.string());
    glintro::printJson(all, console_);
}

bool isEmpty(const FolderContent& content) {
    return content.reels.empty() && content.damaged.empty() && content.interrupted.empty();
}

void sayWhyEmpty(bool wasEmpty, const ListArguments& arguments, const fs::path& root,
                 const Console& console) {
    if (wasEmpty)
        fmt::print(console.out,
                   "There is no reel in “{}” yet. Record one with “glintro record”, or make one of a movie "
                   "with “glintro import”.\n",
                   printable(root.string()));
    else
        fmt::print(console.out, "No reel’s name contains “{}”.\n", printable(arguments.query));
}

} // namespace

Result<void> runList(const ListArguments& arguments, const LibraryFolder& library, const Console& console) {
    LibraryListing listing = scanLibrary(library.root());
    if (listing.access == LibraryListing::Access::unreadable)
        return failure(fmt::format("The library “{}” can’t be read: {}.", library.root().string(),
                                   std::strerror(listing.nativeCode)));
    const bool wasEmpty = isEmpty(listing.content);
    keepFound(listing.content, arguments.query);
    const LibraryReport report(listing.content, library.root(), console);
    if (arguments.report == Report::json)
        report.printJson();
    else if (isEmpty(listing.content))
        sayWhyEmpty(wasEmpty, arguments, library.root(), console);
    else
        report.print();
    return {};
}

} // namespace glintro
