#include "many_threads.h"

#include <gtest/gtest.h>

#include <exception>
#include <thread>
#include <vector>

namespace quon::test {

void on_threads(std::size_t count, const std::function<void(std::size_t)>& work) {
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < count; ++number) {
        threads.emplace_back([&work, number] {
            try {
                work(number);
            } catch (const std::exception& error) {
                ADD_FAILURE() << "thread " << number << ": " << error.what();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace quon::test
