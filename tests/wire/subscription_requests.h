#pragma once

#include "support/HttpClient.h"

#include <string>
#include <vector>

/// Requests of the subscription services, and the handles in their replies.
namespace kx::information_model::opc::testing {

/// What a test needs that has no reason to see its subscription expire: one hour, in milliseconds.
inline const std::string LONG_PING_RATE = "3600000";

/// A Subscribe of these "Items" elements.
std::string create_subscribe(const std::string& items, const std::string& ping_rate = LONG_PING_RATE,
                             const std::string& options = "");

/// A SubscriptionPolledRefresh of one subscription.
/// @param attributes  of the request element, with a leading blank
/// @param options     an "Options" element
std::string create_poll(const std::string& handle, const std::string& attributes = "",
                        const std::string& options = "");

/// A SubscriptionPolledRefresh of several subscriptions.
std::string create_poll_of(const std::vector<std::string>& handles);

std::string create_cancel(const std::string& handle);

/// The digits that follow the first `start` in the reply's body; empty if there is none.
std::string get_digits_after(const Reply& reply, const std::string& start);

/// The handle in the reply of a Subscribe.
/// @throws std::runtime_error  if it is no such reply
std::string get_handle(const Reply& reply);

/// The "SubscribeResponse" with these "Items" elements.
std::string create_subscribe_response(const std::string& handle, const std::string& items,
                                      const char* client_request_handle = nullptr);

/// The "SubscriptionPolledRefreshResponse" with these "Items" elements.
/// @param invalid  "InvalidServerSubHandles" elements
std::string create_poll_response(const std::string& items, const std::string& invalid = "",
                                 const char* client_request_handle = nullptr);

/// "InvalidServerSubHandles" with this handle.
std::string create_invalid(const std::string& handle);

/// "RItemList" with these elements, the empty one in its short form.
std::string create_item_list(const std::string& items);

}  // namespace kx::information_model::opc::testing
