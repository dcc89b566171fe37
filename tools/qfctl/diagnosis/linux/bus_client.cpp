#include "diagnosis/linux/bus_client.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>

namespace qfctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char BUS[] = "org.freedesktop.DBus";
constexpr char BUS_PATH[] = "/org/freedesktop/DBus";
constexpr std::chrono::milliseconds ANSWER_TIMEOUT{1800};

int Check(int result) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category());
    }
    return result;
}

int Connect(const std::string& name, sd_bus** bus) {
    if (name == "system") {
        return sd_bus_open_system(bus);
    }
    if (name == "session") {
        return sd_bus_open_user(bus);
    }
    // The Linux port refuses such an address too: sd-bus 252 waits for the exit of the program that the address starts.
    if (name.find("unixexec:") != std::string::npos) {
        return -EPROTONOSUPPORT;
    }
    int result = sd_bus_new(bus);
    result = result < 0 ? result : sd_bus_set_address(*bus, name.c_str());
    result = result < 0 ? result : sd_bus_set_bus_client(*bus, 1);
    return result < 0 ? result : sd_bus_start(*bus);
}

}  // namespace

BusClient::BusClient(const std::string& bus) {
    sd_bus* opened = nullptr;
    const int result = Connect(bus, &opened);
    bus_.reset(opened);
    Check(result);
    Check(sd_bus_add_filter(bus_.get(), nullptr, OnMessage, this));
}

int BusClient::OnMessage(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    BusClient& client = *static_cast<BusClient*>(self);
    const char* sender = sd_bus_message_get_sender(message);
    const bool isSignal = sd_bus_message_is_signal(message, nullptr, nullptr) > 0;
    client.hasEcho_ = client.hasEcho_ || (isSignal && sender != nullptr && std::string(sender) != BUS);
    return 0;
}

int BusClient::StoreReply(sd_bus_message* reply, void* stored, sd_bus_error* /*error*/) {
    static_cast<Message*>(stored)->reset(sd_bus_message_ref(reply));
    return 0;
}

void BusClient::Wait(Clock::time_point deadline) const {
    pollfd descriptor = {Check(sd_bus_get_fd(bus_.get())), 0, 0};
    descriptor.events = static_cast<short>(Check(sd_bus_get_events(bus_.get())));
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    poll(&descriptor, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
}

BusClient::Message BusClient::Send(const char* member, const std::optional<std::string>& text,
                                   const std::optional<uint32_t>& number) {
    sd_bus_message* created = nullptr;
    const int result = sd_bus_message_new_method_call(bus_.get(), &created, BUS, BUS_PATH, BUS, member);
    const Message call(created);
    Check(result);
    Check(text ? sd_bus_message_append_basic(created, 's', text->c_str()) : 0);
    Check(number ? sd_bus_message_append_basic(created, 'u', &*number) : 0);
    Message reply;
    sd_bus_slot* slot = nullptr;
    Check(sd_bus_call_async(bus_.get(), &slot, created, StoreReply, &reply, 0));
    const std::unique_ptr<sd_bus_slot, sd_bus_slot* (*)(sd_bus_slot*)> owner(slot, sd_bus_slot_unref);
    const auto deadline = Clock::now() + ANSWER_TIMEOUT;
    while (reply == nullptr) {
        Check(Clock::now() < deadline ? 0 : -ETIMEDOUT);
        if (Check(sd_bus_process(bus_.get(), nullptr)) == 0) {
            Wait(deadline);
        }
    }
    const sd_bus_error* error = sd_bus_message_get_error(reply.get());
    if (error != nullptr) {
        throw BusError(error->name, error->message != nullptr ? error->message : error->name);
    }
    return reply;
}

void BusClient::Call(const char* member, const std::string& text) {
    Send(member, text, std::nullopt);
}

std::string BusClient::CallForText(const char* member, const std::optional<std::string>& text) {
    const Message reply = Send(member, text, std::nullopt);
    const char* answer = nullptr;
    Check(sd_bus_message_read_basic(reply.get(), 's', static_cast<void*>(&answer)));
    return answer;
}

uint32_t BusClient::CallForNumber(const char* member, const std::string& text, const std::optional<uint32_t>& number) {
    const Message reply = Send(member, text, number);
    uint32_t answer = 0;
    Check(sd_bus_message_read_basic(reply.get(), 'u', &answer));
    return answer;
}

bool BusClient::EchoEvent(const char* path, const char* interface, const char* member) {
    const char* self = nullptr;
    Check(sd_bus_get_unique_name(bus_.get(), &self));
    sd_bus_message* created = nullptr;
    const int result = sd_bus_message_new_signal(bus_.get(), &created, path, interface, member);
    const Message signal(created);
    Check(result);
    Check(sd_bus_message_append_basic(created, 's', ""));
    Check(sd_bus_message_set_destination(created, self));
    Check(sd_bus_send(bus_.get(), created, nullptr));
    // The bus preserves the order, so the signal arrives before this reply or never.
    CallForText("GetId");
    return hasEcho_;
}

}  // namespace qfctl
