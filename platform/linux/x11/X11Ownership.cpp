#include "platform/linux/x11/X11Ownership.h"

#include <algorithm>
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

std::uint32_t processOf(const xcb_res_client_id_value_t& value) {
    return xcb_res_client_id_value_value_length(&value) > 0 ? *xcb_res_client_id_value_value(&value) : 0;
}

// Which of these clients are connections of this process, as the server knows it from their sockets.
std::vector<std::uint32_t> ownAmong(const X11Connection& connection,
                                    const std::vector<std::uint32_t>& clients) {
    std::vector<xcb_res_client_id_spec_t> questions;
    for (const std::uint32_t client : clients) {
        questions.push_back({client, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    }
    const auto cookie = xcb_res_query_client_ids(
        connection.get(), static_cast<std::uint32_t>(questions.size()), questions.data());
    const X11Reply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(connection.get(), cookie, nullptr));
    std::vector<std::uint32_t> own;
    if (!reply) return own;
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
         xcb_res_client_id_value_next(&ids)) {
        if (processOf(*ids.data) == static_cast<std::uint32_t>(::getpid())) {
            own.push_back(clientOf(connection, ids.data->spec.client));
        }
    }
    return own;
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

bool isEmbedded(const X11Connection& connection, xcb_window_t window) {
    const xcb_atom_t information = x11Atoms(connection.get(), {"_XEMBED_INFO"}).front();
    if (information == XCB_ATOM_NONE) return false;
    const auto property =
        x11Property(connection.get(), askX11Property(connection.get(), window, information));
    return property && property->type != XCB_ATOM_NONE;
}

} // namespace

bool belongsToThisProcess(const X11Connection& connection, xcb_window_t topLevel) {
    if (!hasX11Extension(connection.get(), xcb_res_id)) return false;
    const Windows windows = withDescendants(connection, topLevel);
    const std::vector<std::uint32_t> clients = clientsOf(connection, windows);
    if (clients.empty()) return false;
    const std::vector<std::uint32_t> own = ownAmong(connection, clients);
    const auto isOwn = [&](xcb_window_t window) {
        return std::ranges::find(own, clientOf(connection, window)) != own.end();
    };
    const auto found = std::ranges::find_if(windows, isOwn);
    return found != windows.end() && (*found == topLevel || !isEmbedded(connection, *found));
}

} // namespace glintro
