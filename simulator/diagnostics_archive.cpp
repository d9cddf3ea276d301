#include "diagnostics_archive.h"

#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

namespace tavi::simulator {

namespace asio = boost::asio;

namespace {

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
      tar(std::move(loop)) {
}

diagnostics_archive::~diagnostics_archive() {
  discard();
}

asio::awaitable<std::string> diagnostics_archive::make(diagnostics_material material) {
  discard();
  if (auto failure = gather(material); !failure.empty()) {
    co_return failure;
  }
  // The archive goes to standard output, because tar takes a name with a colon for that of another host.
  std::vector<std::string> arguments;
  for (auto const* argument : {"tar", "-c", "-z", "-f", "-", "-C"}) {
    arguments.emplace_back(argument);
  }
  arguments.push_back(content.string());
  for (auto const* name : {"station.log", "configuration.json", "status.json"}) {
    arguments.emplace_back(name);
  }
  auto const errors = folder / "tar_errors.txt";
  auto failure = co_await tar.run(std::move(arguments), archive, errors);
  co_return failure;
}

void diagnostics_archive::cancel() {
  tar.kill();
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
