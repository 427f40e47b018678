#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include <xcb/res.h>

#include "platform/linux/x11/X11Content.h"
#include "platform/linux/x11/X11Text.h"

namespace glintro {
namespace {

// Layers other than that of ordinary windows.
constexpr int kDesktopLayer = -1;
constexpr int kPanelLayer = 1;
constexpr int kMenuLayer = 2;

constexpr std::uint32_t kManyWindows = 1 << 14;

struct Atoms {
    explicit Atoms(xcb_connection_t* connection) {
        const std::vector<xcb_atom_t> atoms =
            x11Atoms(connection, {"_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST_STACKING", "_NET_CLIENT_LIST",
                                  "_NET_WM_NAME", "_NET_WM_PID", "_NET_WM_WINDOW_TYPE", "_NET_FRAME_EXTENTS",
                                  "_GTK_FRAME_EXTENTS"});
        managerCheck = atoms[0], stackedWindows = atoms[1], windows = atoms[2];
        name = atoms[3], process = atoms[4], type = atoms[5], frameExtents = atoms[6], gtkExtents = atoms[7];
        const auto layersOf = [&](int layer, const std::vector<std::string>& types) {
            std::vector<std::string> names;
            names.reserve(types.size());
            for (const std::string& each : types) names.push_back("_NET_WM_WINDOW_TYPE_" + each);
            for (const xcb_atom_t atom : x11Atoms(connection, names)) layers[atom] = layer;
        };
        layersOf(0, {"NORMAL", "DIALOG", "UTILITY"});
        layersOf(kDesktopLayer, {"DESKTOP"});
        layersOf(kPanelLayer, {"DOCK", "TOOLBAR", "MENU"});
        layersOf(kMenuLayer,
                 {"DROPDOWN_MENU", "POPUP_MENU", "COMBO", "DND", "TOOLTIP", "NOTIFICATION", "SPLASH"});
        layers.erase(XCB_ATOM_NONE);
    }

    xcb_atom_t managerCheck, stackedWindows, windows, name, process, type, frameExtents, gtkExtents;
    std::map<xcb_atom_t, int> layers; // by window type
};

enum class Management { managed, unmanaged };

struct WindowList {
    std::vector<xcb_window_t> windows; // back to front
    Management management = Management::managed;
};

std::vector<std::uint32_t> wordsOf(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property) {
    return x11Words(
        x11Property(connection, askX11Property(connection, window, property, kManyWindows)).get());
}

// A manager that has gone leaves its lists behind on the root window; the window it is known by goes with it.
bool hasManager(const X11Connection& connection, const Atoms& atoms) {
    const auto named = wordsOf(connection.get(), connection.root(), atoms.managerCheck);
    return !named.empty() && wordsOf(connection.get(), named.front(), atoms.managerCheck) == named;
}

WindowList listWindows(const X11Connection& connection, const Atoms& atoms) {
    if (hasManager(connection, atoms)) {
        for (const xcb_atom_t list : {atoms.stackedWindows, atoms.windows}) {
            auto windows = wordsOf(connection.get(), connection.root(), list);
            if (!windows.empty()) return {std::move(windows), Management::managed};
        }
        return {};
    }
    const auto cookie = xcb_query_tree(connection.get(), connection.root());
    const X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection.get(), cookie, nullptr));
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    return {{children, children + xcb_query_tree_children_length(tree.get())}, Management::unmanaged};
}

// What has been asked about one window. All is asked of all windows before the first answer is waited for:
// one round trip, however many there are.
struct Questions {
    xcb_window_t window;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t position;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_property_cookie_t name, oldName, className, process, type, frameExtents, gtkExtents;
};

Questions ask(const X11Connection& connection, const Atoms& atoms, xcb_window_t window) {
    xcb_connection_t* server = connection.get();
    const auto property = [&](xcb_atom_t atom) { return askX11Property(server, window, atom); };
    return {window,
            xcb_get_geometry(server, window),
            xcb_translate_coordinates(server, window, connection.root(), 0, 0),
            xcb_get_window_attributes(server, window),
            property(atoms.name),
            property(XCB_ATOM_WM_NAME),
            property(XCB_ATOM_WM_CLASS),
            property(atoms.process),
            property(atoms.type),
            property(atoms.frameExtents),
            property(atoms.gtkExtents)};
}

// The processes behind the windows by the bits of their ids that tell whose they are.
class Processes {
  public:
    Processes(const X11Connection& connection, const std::vector<xcb_window_t>& windows)
        : connection_(connection.get()), clientMask_(~xcb_get_setup(connection_)->resource_id_mask) {
        if (!hasX11Extension(connection_, xcb_res_id)) return;
        std::set<std::uint32_t> clients;
        for (const xcb_window_t window : windows) clients.insert(window & clientMask_);
        std::vector<xcb_res_client_id_spec_t> asked;
        asked.reserve(clients.size());
        for (const std::uint32_t client : clients) {
            asked.push_back({client, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
        }
        cookie_ =
            xcb_res_query_client_ids(connection_, static_cast<std::uint32_t>(asked.size()), asked.data());
    }

    void collect() {
        if (!cookie_) return;
        const X11Reply<xcb_res_query_client_ids_reply_t> reply(
            xcb_res_query_client_ids_reply(connection_, *cookie_, nullptr));
        if (!reply) return;
        for (auto at = xcb_res_query_client_ids_ids_iterator(reply.get()); at.rem > 0;
             xcb_res_client_id_value_next(&at)) {
            if (xcb_res_client_id_value_value_length(at.data) == 0) continue;
            byClient_[at.data->spec.client & clientMask_] = *xcb_res_client_id_value_value(at.data);
        }
    }

    std::optional<std::int64_t> of(xcb_window_t window) const {
        const auto found = byClient_.find(window & clientMask_);
        return found == byClient_.end() ? std::nullopt : std::optional(found->second);
    }

  private:
    xcb_connection_t* connection_;
    std::uint32_t clientMask_;
    std::optional<xcb_res_query_client_ids_cookie_t> cookie_;
    std::map<std::uint32_t, std::int64_t> byClient_;
};

// "instance\0class\0": the class is how a program writes its own name.
std::string applicationOf(const std::string& className) {
    const std::size_t end = className.find('\0');
    const std::string named = end == std::string::npos ? "" : textOfX11(className.substr(end + 1));
    return named.empty() ? textOfX11(className) : named;
}

// Left, right, top, bottom.
std::vector<std::uint32_t> extents(std::vector<std::uint32_t> words) {
    words.resize(4);
    return words;
}

// Reads the answers of one window in the order they were asked for.
class Answers {
  public:
    Answers(xcb_connection_t* connection, const Atoms& atoms, Management management)
        : connection_(connection), atoms_(atoms), management_(management) {}

    // `nullopt` when the window has gone meanwhile, or nobody can see it.
    std::optional<ShareableWindow> read(const Questions& asked, const Processes& processes,
                                        double scale) const {
        const X11Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(connection_, asked.geometry, nullptr));
        const X11Reply<xcb_translate_coordinates_reply_t> position(
            xcb_translate_coordinates_reply(connection_, asked.position, nullptr));
        const X11Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(connection_, asked.attributes, nullptr));
        ShareableWindow window;
        window.id = asked.window;
        const std::string name = textOfX11(bytes(asked.name)), oldName = textOfX11(bytes(asked.oldName));
        window.title = name.empty() ? oldName : name;
        window.application = applicationOf(bytes(asked.className));
        const std::vector<std::uint32_t> process = words(asked.process);
        window.process = processes.of(asked.window).value_or(process.empty() ? 0 : process.front());
        const std::optional<int> layer = layerOfType(words(asked.type));
        const auto frame = extents(words(asked.frameExtents)), shadow = extents(words(asked.gtkExtents));
        if (!geometry || !position || !attributes || !isListed(*attributes)) return std::nullopt;
        window.layer = layer.value_or(attributes->override_redirect != 0 ? kMenuLayer : 0);
        window.frame = outline(*geometry, *position, frame, shadow, scale);
        return window;
    }

  private:
    std::string bytes(xcb_get_property_cookie_t cookie) const {
        return x11Bytes(x11Property(connection_, cookie).get());
    }
    std::vector<std::uint32_t> words(xcb_get_property_cookie_t cookie) const {
        return x11Words(x11Property(connection_, cookie).get());
    }

    bool isListed(const xcb_get_window_attributes_reply_t& attributes) const {
        return management_ == Management::managed
               || (attributes._class == XCB_WINDOW_CLASS_INPUT_OUTPUT
                   && attributes.map_state == XCB_MAP_STATE_VIEWABLE);
    }

    // A window names its types with the fitting one first, ours to know or not.
    std::optional<int> layerOfType(const std::vector<std::uint32_t>& types) const {
        for (const std::uint32_t type : types) {
            if (const auto known = atoms_.layers.find(type); known != atoms_.layers.end()) {
                return known->second;
            }
        }
        return std::nullopt;
    }

    // With the bar and borders the manager has put around the window, without the shadow that the program
    // itself draws inside it. A window without a manager has the border the server draws, and may still say
    // what a manager that has gone had put around it.
    Rect outline(const xcb_get_geometry_reply_t& geometry, const xcb_translate_coordinates_reply_t& position,
                 const std::vector<std::uint32_t>& frame, const std::vector<std::uint32_t>& shadow,
                 double scale) const {
        const auto margin = [&](std::size_t side) {
            const double around =
                management_ == Management::managed ? double(frame[side]) : double(geometry.border_width);
            return around - shadow[side];
        };
        return {(position.dst_x - margin(0)) / scale, (position.dst_y - margin(2)) / scale,
                (geometry.width + margin(0) + margin(1)) / scale,
                (geometry.height + margin(2) + margin(3)) / scale};
    }

    xcb_connection_t* connection_;
    const Atoms& atoms_;
    Management management_;
};

} // namespace

Result<std::vector<ShareableWindow>> x11Windows(const X11Connection& connection) {
    const double scale = x11DesktopScale(connection);
    const Atoms atoms(connection.get());
    const WindowList list = listWindows(connection, atoms);
    Processes processes(connection, list.windows);
    std::vector<Questions> asked;
    asked.reserve(list.windows.size());
    for (const xcb_window_t window : list.windows) asked.push_back(ask(connection, atoms, window));
    processes.collect();
    std::vector<ShareableWindow> windows;
    const Answers answers(connection.get(), atoms, list.management);
    for (const Questions& each : asked) {
        if (auto window = answers.read(each, processes, scale)) windows.push_back(std::move(*window));
    }
    std::ranges::reverse(windows);
    if (!connection.isAlive()) return failure("The X server has gone.");
    return windows;
}

} // namespace glintro
