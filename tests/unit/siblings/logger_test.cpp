#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ipc_test.h"
#include "tavi/logger/req_resp_logger_service.h"

namespace {

using tavi::logger::log_subtype;
using tavi::logger::req_resp_logger_service;
using tavi::logger::req_resp_logger_service_handler;

class collecting_log : public tavi::logger::i_req_resp_logger_service_handler {
 public:
  bool on_functional_log(unsigned int const& category, unsigned int const& subtype,
                         std::string const& text) override {
    entries.add(std::to_string(category) + "/" + std::to_string(subtype) + "/" + text);
    return is_writing;
  }

  collector<std::string> entries;
  std::atomic<bool> is_writing = true;
};

class Logger : public ipc_test {
 protected:
  collecting_log written;
  req_resp_logger_service_handler server{written};
};

TEST_F(Logger, SendsEntriesInTheirOrder) {
  ASSERT_TRUE(server.start());
  req_resp_logger_service logger;
  ASSERT_TRUE(logger.init(0));
  EXPECT_TRUE(logger.send_functional_log(13, log_subtype::firmware_available, "one"));
  EXPECT_TRUE(logger.send_functional_log(13, log_subtype::firmware_deleted, "two"));
  EXPECT_TRUE(logger.send_functional_log(14, log_subtype::diagnostic_periodic_generation, ""));
  EXPECT_TRUE(logger.send_functional_log(13, log_subtype::diagnostic_all_stations_generation, "\xff"));
  EXPECT_THAT(written.entries.wait_for(4),
              testing::ElementsAre("13/1105/one", "13/1106/two", "14/1100/", "13/1103/\xef\xbf\xbd"));
}

TEST_F(Logger, KeepsEntriesUntilTheServiceIsThere) {
  req_resp_logger_service logger;
  for (int number = 0; number < 5; ++number) {
    EXPECT_TRUE(logger.send_functional_log(13, log_subtype::firmware_available, std::to_string(number)));
  }
  ASSERT_TRUE(server.start());
  EXPECT_THAT(written.entries.wait_for(5),
              testing::ElementsAre("13/1105/0", "13/1105/1", "13/1105/2", "13/1105/3", "13/1105/4"));
}

TEST_F(Logger, RefusesAnEntryWhenItsQueueIsFull) {
  req_resp_logger_service logger;
  for (int number = 0; number < 10'000; ++number) {
    ASSERT_TRUE(logger.send_functional_log(13, log_subtype::firmware_available, "x"));
  }
  EXPECT_FALSE(logger.send_functional_log(13, log_subtype::firmware_available, "lost"));
  EXPECT_FALSE(logger.send_functional_log(13, log_subtype::firmware_available, "lost too"));
  auto const lines = log.lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](log_line const& line) {
                            return line.text.find("further ones are lost") != std::string::npos;
                          }),
            1);
}

TEST_F(Logger, GoesOnAfterAnEntryThatWasNotWritten) {
  written.is_writing = false;
  ASSERT_TRUE(server.start());
  req_resp_logger_service logger;
  logger.send_functional_log(13, log_subtype::firmware_available, "first");
  logger.send_functional_log(13, log_subtype::firmware_available, std::string(2 * 1024 * 1024, 'x'));
  logger.send_functional_log(13, log_subtype::firmware_available, "last");
  EXPECT_THAT(written.entries.wait_for(2), testing::ElementsAre("13/1105/first", "13/1105/last"));
}

TEST_F(Logger, GivesItsLastEntriesTimeToLeave) {
  ASSERT_TRUE(server.start());
  {
    req_resp_logger_service logger;
    ASSERT_TRUE(logger.init(0));
    logger.send_functional_log(13, log_subtype::firmware_available, "last words");
  }
  EXPECT_EQ(written.entries.wait_for(1).size(), 1U);
}

TEST_F(Logger, EndsSoonWhenTheServiceIsAwayAndSaysWhatIsLost) {
  auto logger = std::make_unique<req_resp_logger_service>();
  logger->send_functional_log(13, log_subtype::firmware_available, "lost");
  auto const begun = std::chrono::steady_clock::now();
  logger.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(4));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "1 entries did not reach logger_service"));
}

TEST_F(Logger, EndsSilentlyWhenItWasNeverUsed) {
  std::make_unique<req_resp_logger_service>().reset();
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
