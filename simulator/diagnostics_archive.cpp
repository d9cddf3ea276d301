#include "diagnostics_archive.h"

#include <chrono>
#include <fstream>
#include <functional>
#include <system_error>
#include <utility>

#include "blocking_work.h"
#include "loop_workers.h"
#include "mura_common/program_run.h"

namespace tavi::simulator {

namespace asio = boost::asio;

namespace {

constexpr auto longest_making = std::chrono::minutes(1);

bool is_written(std::filesystem::path const& file, std::string const& text) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text << '\n';
  stream.close();
  return !stream.fail();
}

}  // namespace

diagnostics_archive::diagnostics_archive(asio::any_io_executor loop, std::filesystem::path const& work_folder,
                                         std::string const& file_name)
    : folder(work_folder / "diagnostics"),
      content(folder / "content"),
      archive(folder / file_name),
      executor(std::move(loop)) {
}

diagnostics_archive::~diagnostics_archive() {
  discard();
}

asio::awaitable<std::string> diagnostics_archive::make(diagnostics_material material) {
  discard();
  auto failure = gather(material);
  if (!failure.empty()) {
    co_return failure;
  }
  std::function<std::error_code()> job = [this, &failure] {
    // By a path with a slash, because tar takes a name with a colon for that of another host.
    failure = mura_common::run_program({"tar", "-c", "-z", "-f", "../" + archive.filename().string(),
                                        "station.log", "configuration.json", "status.json"},
                                       content, longest_making);
    return std::error_code();
  };
  co_await http::run_blocking(find_workers(executor), std::move(job));
  co_return failure;
}

void diagnostics_archive::discard() {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

std::string diagnostics_archive::gather(diagnostics_material const& material) const {
  std::error_code error;
  std::filesystem::create_directories(content, error);
  if (error) {
    return "cannot make folder " + content.string() + ": " + error.message();
  }
  // A copy, because the station goes on writing into its log while tar reads.
  std::filesystem::copy_file(material.journal, content / "station.log", error);
  if (error) {
    return "cannot copy " + material.journal.string() + ": " + error.message();
  }
  if (!is_written(content / "configuration.json", material.configuration) ||
      !is_written(content / "status.json", material.status)) {
    return "cannot write into " + content.string();
  }
  return {};
}

}  // namespace tavi::simulator
