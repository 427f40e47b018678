#include "platform/linux/x11/X11Ownership.h"

#include <algorithm>
#include <map>
#include <vector>

#include <unistd.h>
#include <xcb/res.h>

namespace glintro {
namespace {

// How deep a window manager hides a program's window in its frame.
constexpr int kFrameDepth = 3;

using Windows = std::vector<xcb_window_t>;

// The bits of a resource's name that tell which program made it.
std::uint32_t clientOf(const X11Connection& connection, std::uint32_t resource) {
    return resource & ~xcb_get_setup(connection.get())->resource_id_mask;
}

Windows childrenOf(const X11Connection& connection, const Windows& parents) {
    std::vector<xcb_query_tree_cookie_t> cookies;
    cookies.reserve(parents.size());
    for (const xcb_window_t parent : parents) cookies.push_back(xcb_query_tree(connection.get(), parent));
    Windows children;
    for (const xcb_query_tree_cookie_t cookie : cookies) {
        const X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection.get(), cookie, nullptr));
        if (!tree) continue;
        const xcb_window_t* first = xcb_query_tree_children(tree.get());
        children.insert(children.end(), first, first + xcb_query_tree_children_length(tree.get()));
    }
    return children;
}

Windows withDescendants(const X11Connection& connection, xcb_window_t topLevel) {
    Windows all{topLevel};
    Windows level = all;
    for (int depth = 0; depth < kFrameDepth && !level.empty(); ++depth) {
        level = childrenOf(connection, level);
        all.insert(all.end(), level.begin(), level.end());
    }
    return all;
}

using Processes = std::map<std::uint32_t, std::uint32_t>; // by client

// The processes of these clients, as far as the server knows them from their sockets.
Processes processesOf(const X11Connection& connection, const std::vector<std::uint32_t>& clients) {
    Processes processes;
    if (!hasX11Extension(connection.get(), xcb_res_id)) return processes;
    std::vector<xcb_res_client_id_spec_t> questions;
    questions.reserve(clients.size());
    for (const std::uint32_t client : clients) {
        questions.push_back({client, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    }
    const auto cookie = xcb_res_query_client_ids(
        connection.get(), static_cast<std::uint32_t>(questions.size()), questions.data());
    const X11Reply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(connection.get(), cookie, nullptr));
    if (!reply) return processes;
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
         xcb_res_client_id_value_next(&ids)) {
        if (xcb_res_client_id_value_value_length(ids.data) == 0) continue;
        processes[clientOf(connection, ids.data->spec.client)] = *xcb_res_client_id_value_value(ids.data);
    }
    return processes;
}

std::vector<std::uint32_t> clientsOf(const X11Connection& connection, const Windows& windows) {
    const std::uint32_t itself = xcb_get_setup(connection.get())->resource_id_base;
    std::vector<std::uint32_t> clients;
    for (const xcb_window_t window : windows) {
        const std::uint32_t client = clientOf(connection, window);
        if (client != 0 && client != itself) clients.push_back(client);
    }
    std::ranges::sort(clients);
    clients.erase(std::ranges::unique(clients).begin(), clients.end());
    return clients;
}

std::vector<std::uint32_t> wordsOf(const X11Connection& connection, xcb_window_t window, const char* name) {
    const xcb_atom_t atom = x11Atoms(connection.get(), {name}).front();
    if (atom == XCB_ATOM_NONE) return {};
    return x11Words(x11Property(connection.get(), askX11Property(connection.get(), window, atom)).get());
}

bool isOfThisProcess(const X11Connection& connection, xcb_window_t window, const Processes& processes) {
    const auto self = static_cast<std::uint32_t>(::getpid());
    const auto known = processes.find(clientOf(connection, window));
    if (known != processes.end()) return known->second == self;
    const std::vector<std::uint32_t> told = wordsOf(connection, window, "_NET_WM_PID");
    return !told.empty() && told.front() == self;
}

} // namespace

bool belongsToThisProcess(const X11Connection& connection, xcb_window_t topLevel) {
    const Windows windows = withDescendants(connection, topLevel);
    const std::vector<std::uint32_t> clients = clientsOf(connection, windows);
    if (clients.empty()) return false;
    const Processes processes = processesOf(connection, clients);
    const auto found = std::ranges::find_if(
        windows, [&](xcb_window_t window) { return isOfThisProcess(connection, window, processes); });
    if (found == windows.end()) return false;
    return *found == topLevel || wordsOf(connection, *found, "_XEMBED_INFO").empty();
}

} // namespace glintro
