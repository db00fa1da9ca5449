// Many producers and consumers on one queue.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "profile_for_test.h"
#include "quon_queue.h"

namespace {

constexpr uint32_t kProducers = 4;
constexpr uint32_t kConsumers = 4;
constexpr uint32_t kPerProducer = 5000;
constexpr uint32_t kTotal = kProducers * kPerProducer;
constexpr int kDepth = 10;
constexpr size_t kPadding = 25;

// As large as an event of the chip; the padding shows an element that was copied half.
struct __attribute__((packed)) Element {
    uint32_t producer;
    uint32_t number;
    std::array<uint8_t, kPadding> padding;
};
static_assert(sizeof(Element) == 33);

Element make_element(uint32_t producer, uint32_t number) {
    Element element = {.producer = producer, .number = number, .padding = {}};
    element.padding.fill(static_cast<uint8_t>(producer * 31 + number));
    return element;
}

void produce(QN_QUEUE* queue, uint32_t producer) {
    for (uint32_t number = 0; number < kPerProducer; number++) {
        const Element element = make_element(producer, number);
        while (QN_QUEUE_Push(queue, &element) != 0) {
            std::this_thread::yield();
        }
    }
}

std::vector<Element> consume(QN_QUEUE* queue, std::atomic<uint32_t>& taken) {
    std::vector<Element> elements;
    while (taken < kTotal) {
        Element element = {};
        if (QN_QUEUE_Pop(queue, &element) == 0) {
            taken++;
            elements.push_back(element);
        } else {
            std::this_thread::yield();
        }
    }
    return elements;
}

using Seen = std::map<uint32_t, std::vector<bool>>;

// Each element is whole, new, and after the earlier ones of its producer.
void check_one_consumer(const std::vector<Element>& elements, Seen& seen) {
    std::map<uint32_t, uint32_t> next;
    for (const Element& element : elements) {
        const uint32_t producer = element.producer;
        const uint32_t number = element.number;
        ASSERT_LT(producer, kProducers);
        ASSERT_LT(number, kPerProducer);
        const Element whole = make_element(producer, number);
        ASSERT_EQ(std::memcmp(&element, &whole, sizeof(Element)), 0);
        ASSERT_GE(number, next[producer]);
        next[producer] = number + 1;
        seen[producer].resize(kPerProducer);
        ASSERT_FALSE(seen[producer][number]) << "popped twice";
        seen[producer][number] = true;
    }
}

class ManyThreadsOnAQueue : public quon::test::WithDefaultProfile {
  protected:
    ManyThreadsOnAQueue() { quon::test::set_profile({.level_limit = 0}); }
};

TEST_F(ManyThreadsOnAQueue, LoseNothingAndTearNoElement) {
    QN_QUEUE* queue = QN_QUEUE_Create(sizeof(Element), kDepth, 0, "shared");
    ASSERT_NE(queue, nullptr);
    std::atomic<uint32_t> taken = 0;
    std::vector<std::vector<Element>> consumed(kConsumers);
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < kProducers; i++) {
        threads.emplace_back(produce, queue, i);
    }
    for (uint32_t i = 0; i < kConsumers; i++) {
        threads.emplace_back([&, i] { consumed[i] = consume(queue, taken); });
    }
    threads.emplace_back([&] {
        while (taken < kTotal) {
            const int length = QN_QUEUE_GetLen(queue);
            EXPECT_GE(length, 0);
            EXPECT_LE(length, kDepth);
            std::this_thread::yield();
        }
    });
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(QN_QUEUE_GetLen(queue), 0);
    QN_QUEUE_Destroy(queue);

    Seen seen;
    size_t total = 0;
    for (const auto& elements : consumed) {
        check_one_consumer(elements, seen);
        total += elements.size();
    }
    EXPECT_EQ(total, kTotal);
}

}  // namespace
