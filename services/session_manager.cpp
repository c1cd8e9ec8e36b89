#include "services/session_manager.h"

#include <lo/lo.h>

#include <cstring>

namespace kestrune {

namespace {

constexpr const char* application_name = "Kestrune";
constexpr const char* capabilities = ":";
constexpr int api_major = 1;
constexpr int api_minor = 2;

// LO_TT_IMMEDIATE as a constant: the macro is a C compound literal.
constexpr lo_timetag immediately{0U, 1U};

constexpr const char* announce_path = "/nsm/server/announce";
constexpr const char* open_path = "/nsm/client/open";
constexpr const char* save_path = "/nsm/client/save";

// A string argument, or "" where the message holds none.
std::string text_arg(const char* types, lo_arg** argv, int argc, int i) {
    if (i >= argc || types[i] != 's') return {};
    return &argv[i]->s;
}

void quiet_error(int, const char*, const char*) {}

}  // namespace

struct nsm_client::link {
    lo_address server = nullptr;
    lo_server own = nullptr;
    ~link() {
        if (own) lo_server_free(own);
        if (server) lo_address_free(server);
    }

    // Every message comes here: the request's path and up to three string arguments.
    static int handle(const char* path, const char* types, lo_arg** argv, int argc, lo_message,
                      void* self) {
        auto* client = static_cast<nsm_client*>(self);
        client->on_message(path, text_arg(types, argv, argc, 0), text_arg(types, argv, argc, 1),
                           text_arg(types, argv, argc, 2));
        return 0;
    }
};

std::unique_ptr<nsm_client> nsm_client::connect(const std::string& url, nsm_handlers handlers) {
    auto l = std::make_unique<link>();
    l->server = lo_address_new_from_url(url.c_str());
    if (!l->server) return nullptr;
    l->own = lo_server_new_with_proto(nullptr, lo_address_get_protocol(l->server), quiet_error);
    if (!l->own) return nullptr;
    return std::unique_ptr<nsm_client>(new nsm_client(std::move(l), std::move(handlers)));
}

nsm_client::nsm_client(std::unique_ptr<link> l, nsm_handlers handlers)
    : link_(std::move(l)), handlers_(std::move(handlers)) {
    lo_server_add_method(link_->own, nullptr, nullptr, &link::handle, this);
}

nsm_client::~nsm_client() = default;

bool nsm_client::announce(const std::string& executable, int pid) {
    return lo_send_from(link_->server, link_->own, immediately, announce_path, "sssiii",
                        application_name, capabilities, executable.c_str(), api_major, api_minor,
                        pid) >= 0;
}

int nsm_client::fd() const {
    return lo_server_get_socket_fd(link_->own);
}

void nsm_client::poll() {
    while (lo_server_recv_noblock(link_->own, 0) > 0) {
    }
}

void nsm_client::answer(const char* request, const nsm_result& r) {
    if (r.code == 0)
        lo_send_from(link_->server, link_->own, immediately, "/reply", "ss", request,
                     r.message.empty() ? "OK" : r.message.c_str());
    else
        lo_send_from(link_->server, link_->own, immediately, "/error", "sis", request, r.code,
                     r.message.c_str());
}

void nsm_client::on_message(const std::string& path, const std::string& a, const std::string& b,
                            const std::string& c) {
    if (path == "/reply" && a == announce_path) {
        joined_ = true;
        server_name_ = c;
    } else if (path == "/error" && a == announce_path) {
        refusal_ = c;
    } else if (path == open_path) {
        nsm_result r{nsm_err_general, "The program cannot open songs yet."};
        if (handlers_.open) r = handlers_.open(a, b, c);
        if (r.code == 0) path_ = a;
        answer(open_path, r);
    } else if (path == save_path) {
        nsm_result r{nsm_err_not_now, "No song is open."};
        if (!path_.empty() && handlers_.save) r = handlers_.save();
        answer(save_path, r);
    }
}

}  // namespace kestrune
