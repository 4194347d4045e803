// Events, waits for several of them, and named mutexes; and the clock they are timed by.
#include <gtest/gtest.h>

#include "utils/platform/Platform.h"
#include "utils/sync/Mutex.h"
#include "utils/sync/Thread.h"
#include "utils/sync/WaitAny.h"

namespace {

using namespace kivsync;

constexpr std::uint32_t kPatienceMs = 10000;

TEST(Event, AnAutomaticOneLetsOneWaiterThrough) {
    const auto automatic = Event::Make(Reset::Auto, Initially::Signalled);
    EXPECT_EQ(automatic->Wait(0), 0);
    EXPECT_EQ(automatic->Wait(0), -1);
    const auto manual = Event::Make(Reset::Manual, Initially::Clear);
    EXPECT_EQ(manual->Set(), 0);
    EXPECT_EQ(manual->Wait(), 0);
    EXPECT_EQ(manual->Wait(0), 0);
    EXPECT_EQ(manual->Reset(), 0);
    EXPECT_EQ(manual->Wait(1), -1);
    EXPECT_EQ(manual->Close(), 0);
    for (const auto result : {manual->Close(), manual->Set(), manual->Reset(), manual->Wait(0)})
        EXPECT_EQ(result, -1);
    EXPECT_EQ(WaitAny({automatic.get(), manual.get()}, 0), kWaitFailed);
}

TEST(WaitAny, ReturnsTheFirstOfTheListAndConsumesOnlyThat) {
    const auto first = Event::Make(Reset::Auto, Initially::Clear);
    const auto second = Event::Make(Reset::Auto, Initially::Clear);
    const auto wait = [&](std::uint32_t timeoutMs) { return WaitAny({first.get(), second.get()}, timeoutMs); };
    EXPECT_EQ(wait(1), kWaitTimeout);
    first->Set();
    second->Set();
    EXPECT_EQ(wait(0), 0u);
    EXPECT_EQ(wait(0), 1u);
    EXPECT_EQ(WaitAny({}, 0), kWaitFailed);
    const auto thread = Thread::Start([&] { EXPECT_EQ(wait(kInfinite), 1u); });
    second->Set();
    thread->Join();
}

TEST(Mutex, HasOneCreatorAndOneHolder) {
    const auto created = Mutex::MakeNamed("ground-test", true);
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(Mutex::MakeNamed("ground-test", false), nullptr);
    EXPECT_EQ(Mutex::OpenNamed("ground-test-missing"), nullptr);
    const auto opened = Mutex::OpenNamed("ground-test");
    ASSERT_NE(opened, nullptr);
    const auto lockElsewhere = [&](std::uint32_t timeoutMs) {
        std::int32_t result = 0;
        Thread::Start([&] {
            result = opened->Lock(timeoutMs);
            opened->Unlock();
        })->Join();
        return result;
    };
    EXPECT_EQ(created->Close(), -1);
    EXPECT_EQ(opened->Destroy(), -1);
    EXPECT_EQ(lockElsewhere(1), -1);
    EXPECT_EQ(created->Unlock(), 0);
    EXPECT_EQ(lockElsewhere(kPatienceMs), 0);
    EXPECT_EQ(created->Lock(), 0);
    EXPECT_EQ(created->Destroy(), 0);  // unlocks first
    EXPECT_EQ(created->Lock(0), -1);
    EXPECT_EQ(lockElsewhere(kPatienceMs), 0);
    EXPECT_EQ(opened->Close(), 0);
    EXPECT_EQ(Mutex::OpenNamed("ground-test"), nullptr);
}

TEST(Platform, ConvertsThirtyYearsOfTicksWithoutOverflow) {
    EXPECT_EQ(platform::TicksToNanoseconds(9'460'800'000'000'007, 10'000'000), 946'080'000'000'000'700);
}

}  // namespace
