#include "upload/http_upload.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include <curl/curl.h>

namespace tavi::ctl {

namespace {

using steady_clock = std::chrono::steady_clock;

constexpr std::size_t answer_limit = 1024;
constexpr long continue_milliseconds = 5000;

struct closing {
  void operator()(std::FILE* file) const { std::fclose(file); }
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// The library is made ready once, before its first use, as it wants.
bool is_library_ready() {
  static auto const result = curl_global_init(CURL_GLOBAL_DEFAULT);
  return result == CURLE_OK;
}

/// One upload under way, as the library's callbacks see it.
struct transfer {
  std::FILE* file;
  std::uint64_t total;
  i_uploader::observer const& observe;
  steady_clock::time_point begin = steady_clock::now();
  std::string answer = {};
  bool is_read_failure = false;
};

std::size_t read_file(char* buffer, std::size_t size, std::size_t count, void* context) {
  auto& upload = *static_cast<transfer*>(context);
  auto const read = std::fread(buffer, 1, size * count, upload.file);
  if (std::ferror(upload.file) != 0) {
    upload.is_read_failure = true;
    return CURL_READFUNC_ABORT;
  }
  return read;
}

std::size_t keep_answer(char* text, std::size_t size, std::size_t count, void* context) {
  auto& answer = static_cast<transfer*>(context)->answer;
  if (answer.size() < answer_limit) {
    answer.append(text, std::min(size * count, answer_limit - answer.size()));
  }
  return size * count;
}

int report_progress(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
  auto const& upload = *static_cast<transfer*>(context);
  auto const elapsed =
      std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - upload.begin);
  return upload.observe({static_cast<std::uint64_t>(sent), upload.total, elapsed}) ? 0 : 1;
}

void set_up(CURL* handle, std::string const& url, curl_slist* headers, transfer& upload, long patience) {
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
  curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_EXPECT_100_TIMEOUT_MS, continue_milliseconds);
  curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(upload.total));
  curl_easy_setopt(handle, CURLOPT_READFUNCTION, read_file);
  curl_easy_setopt(handle, CURLOPT_READDATA, &upload);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, keep_answer);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &upload);
  curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, report_progress);
  curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &upload);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, patience);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, patience);
}

upload_outcome outcome_of(CURL* handle, CURLcode result, transfer const& upload) {
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  // A server that refuses may close before it has read everything: what it said counts.
  if (status >= 200) {
    return {upload_end::answered, status, upload.answer};
  }
  switch (result) {
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_READ_ERROR:
      return {upload.is_read_failure ? upload_end::no_file : upload_end::aborted, 0,
              curl_easy_strerror(result)};
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_URL_MALFORMAT:
      return {upload_end::not_reachable, 0, curl_easy_strerror(result)};
    default:
      return {upload_end::broken, 0, curl_easy_strerror(result)};
  }
}

}  // namespace

upload_outcome http_uploader::upload(std::filesystem::path const& file, std::string const& url,
                                     observer const& observe) {
  std::error_code error;
  auto const total = std::filesystem::file_size(file, error);
  std::unique_ptr<std::FILE, closing> const open_file(error ? nullptr : std::fopen(file.c_str(), "rbe"));
  if (open_file == nullptr) {
    return {upload_end::no_file, 0, error ? error.message() : std::generic_category().message(errno)};
  }
  std::unique_ptr<CURL, closing> const handle(is_library_ready() ? curl_easy_init() : nullptr);
  std::unique_ptr<curl_slist, closing> const headers(curl_slist_append(
      curl_slist_append(nullptr, "Expect: 100-continue"), "Content-Type: application/octet-stream"));
  if (handle == nullptr || headers == nullptr) {
    return {upload_end::broken, 0, "out of memory"};
  }
  transfer upload{open_file.get(), total, observe};
  set_up(handle.get(), url, headers.get(), upload, static_cast<long>(still_time.count()));
  auto const result = curl_easy_perform(handle.get());
  return outcome_of(handle.get(), result, upload);
}

}  // namespace tavi::ctl
