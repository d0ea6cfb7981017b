// SPDX-License-Identifier: BSD-2-Clause

// Notifications as a daemon reaches them: look-ups, and contents sent to a peer.

#include <gmock/gmock.h>

#include "definitions/drend_load.h"
#include "failing_memory.h"
#include "service_fixture.h"

using testing::ElementsAre;

namespace {

class events_test : public service_test {
  protected:
    events_test() {
        const std::string tree = tags_json("orvex-notification-root(t=/t(row*(name)))");
        define(R"([{"dc_external_notify_name": "e1", "dc_internal_notify_name": "i",
           "dc_app_name": "d", "dc_namespace": "xmlns='urn:e'"},
          {"dc_external_notify_name": "e2", "dc_internal_notify_name": "i", "dc_tag": )" +
               tree + R"(},
          {"dc_external_notify_name": "e3", "dc_internal_notify_name": "i", "dc_tag": )" +
               tags_json("n=/t()") + R"(},
          {"dc_external_notify_name": "e4", "dc_internal_notify_name": "a name that is long",
           "dc_tag": )" +
               tree + R"(},
          {"dc_notify_leaf": "/t/row/name", "dc_internal_notify_name": ["i", "j"]},
          {"dc_notify_leaf": "/t/mtu", "dc_internal_notify_name": ["k"]}])");
        start(nullptr, 0);
    }
};

using texts_t = std::vector<std::string>;

int note_event(const drx_event_s* event, void* data) {
    if (data == nullptr) {
        return 0;
    }
    static_cast<texts_t*>(data)->push_back(
        std::string(event->internal_name) + " " + event->external_name + " " +
        event->app_name + event->name_space + (event->has_content != 0 ? " content" : ""));
    return 0;
}

int note_leaf(const char* leaf, const char* name, void* data) {
    if (data == nullptr) {
        return 0;
    }
    static_cast<texts_t*>(data)->push_back(std::string(leaf) + " " + name);
    return 0;
}

} // namespace

TEST_F(events_test, are_found_by_name_leaf_and_container) {
    texts_t found;
    EXPECT_EQ(drx_find_events("i", note_event, &found), 3);
    EXPECT_THAT(found,
                ElementsAre("i e1 d xmlns=\"urn:e\"", "i e2  content", "i e3  content"));
    EXPECT_EQ(drx_find_events("j", note_event, &found), 0);
    EXPECT_EQ(drx_find_events(
                  "i", [](const drx_event_s*, void*) { return 1; }, nullptr),
              1);
    found.clear();
    EXPECT_EQ(drx_find_events_of_leaf("/t/row/name/", note_leaf, &found), 2);
    EXPECT_EQ(drx_find_events_of_leaf("/t/row", note_leaf, &found), 0);
    EXPECT_EQ(drx_find_events_of_container("/t/", note_leaf, &found), 3);
    EXPECT_EQ(drx_find_events_of_container("ow", note_leaf, &found), 2);
    EXPECT_THAT(found,
                ElementsAre("/t/row/name i", "/t/row/name j", "/t/mtu k", "/t/row/name i",
                            "/t/row/name j", "/t/row/name i", "/t/row/name j"));
    EXPECT_EQ(drx_find_events_of_container(
                  "/t", [](const char*, const char*, void*) { return 1; }, nullptr),
              1);
    // What a visitor was given may be replaced while it looks.
    EXPECT_EQ(drx_find_events(
                  "i",
                  [](const drx_event_s* event, void*) {
                      dri_reload_json();
                      return event->external_name[0] == 'e' ? 0 : 1;
                  },
                  nullptr),
              3);
}

TEST_F(events_test, are_sent_as_answers_are) {
    EXPECT_EQ(drx_send_event(peer_, "i", nullptr, nullptr), 0);
    EXPECT_EQ(take_text(), ROWS_XML);
    EXPECT_EQ(drx_send_event(peer_, "i", "e2", "as-json filter=\"/t/row[name='b']\""), 0);
    EXPECT_EQ(take_text(), "{\n  \"t\" : {\n    \"row\" : [{\n        \"name\" : \"b\"\n"
                           "      }]\n  }\n}");
    EXPECT_EQ(drx_send_event(peer_, "i", "e3", nullptr), 0);
    EXPECT_EQ(take_text(), "");
    for (const char* none : {"e1", "e5"}) {
        EXPECT_EQ(drx_send_event(peer_, "i", none, nullptr), DREND_NO_EL);
    }
    EXPECT_EQ(drx_send_event(peer_, "k", nullptr, nullptr), DREND_NO_EL);
    output.fail_at = output.sends;
    EXPECT_EQ(drx_send_event(peer_, "i", nullptr, nullptr), DREND_PEER_LOST);
    output.fail_at = -1;
}

TEST_F(events_test, memory_that_runs_out_is_told) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    const std::function<int()> calls[] = {
        [&] { return drx_send_event(peer_, "a name that is long", nullptr, "as-json"); },
        [&] { return drx_find_events("a name that is long", note_event, nullptr); },
        [&] { return drx_find_events_of_leaf("/t/row/name/", note_leaf, nullptr); },
        [&] { return drx_find_events_of_container("/t/row/name/", note_leaf, nullptr); },
    };
    for (const auto& call : calls) {
        bool has_failed = true;
        for (long number = 1; has_failed && !HasFailure(); ++number) {
            output.text.clear();
            output.text.reserve(1 << 16);
            dri_reset_xpath_cache();
            failing_allocation = number;
            const int status = call();
            has_failed = failing_allocation <= 0;
            failing_allocation = 0;
            EXPECT_EQ(status == DREND_ERR, has_failed) << number;
            const bool is_told = output.text.ends_with("error: out of memory\n");
            EXPECT_EQ(is_told, has_failed && &call == &calls[0]);
        }
    }
}

TEST_F(events_test, are_suspended_and_dropped_as_answers_are) {
    suspend_rows = true;
    EXPECT_EQ(drx_send_event(peer_, "i", nullptr, nullptr), DREND_DEFER);
    ASSERT_EQ(waiting.size(), 1u);
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), waiting[0]);
    const std::string begun = take_text();
    EXPECT_EQ(drx_send_event(peer_, "i", nullptr, nullptr), DREND_ERR);
    EXPECT_EQ(take_text(), ""); // nothing stands in the middle of the first
    dri_reload_json();
    EXPECT_EQ(dri_get_set_count(), 2);
    run_idle();
    EXPECT_EQ(begun + take_text(), ROWS_XML);
    EXPECT_EQ(dri_get_set_count(), 1);
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);

    drx_send_event(peer_, "i", nullptr, nullptr);
    take_text();
    drend_drop_walk(waiting[0]);
    run_idle();
    EXPECT_EQ(take_text(), "");
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);
    drx_send_event(peer_, "i", nullptr, nullptr);
    take_text();
    dri_cleanup_cookie(mgmt_sock_get_drend_cookie(peer_)); // as a closing peer does
    mgmt_sock_set_drend_cookie(peer_, nullptr);
    run_idle();
    EXPECT_EQ(take_text(), "");
}
