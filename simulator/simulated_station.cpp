#include "simulated_station.h"

#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>

#include "boot_answer.h"
#include "diagnostics_job.h"
#include "firmware_update.h"
#include "reconnect_pause.h"
#include "spawn_task.h"
#include "station_session.h"
#include "station_status.h"
#include "status_reports.h"

namespace tavi::simulator {

namespace asio = boost::asio;
using nlohmann::json;

struct simulated_station::members : std::enable_shared_from_this<members> {
  members(asio::io_context& event_loop, station_options settings)
      : loop(event_loop),
        options(std::make_shared<station_options const>(std::move(settings))),
        pause(loop),
        reports(loop.get_executor()) {}

  [[nodiscard]] bool prepare();
  void halt();
  static asio::awaitable<void> stay_connected(std::shared_ptr<members> self);
  static asio::awaitable<void> deliver_diagnostics(std::shared_ptr<members> self,
                                                   std::shared_ptr<diagnostics_job> work);
  [[nodiscard]] asio::awaitable<upload_outcome> make_and_upload(diagnostics_job& work);
  static asio::awaitable<void> update_firmware(std::shared_ptr<members> self,
                                               std::shared_ptr<firmware_update> work);
  static asio::awaitable<void> tell_firmware_status(std::weak_ptr<members> station, std::string status_name);
  [[nodiscard]] std::shared_ptr<station_session> make_session();
  void on_session_over(std::string const& reason, std::chrono::milliseconds next_try);
  void on_connected();
  void on_booted(std::chrono::seconds interval);
  void on_call(ocpp_wire::call const& call);
  void on_get_diagnostics(ocpp_wire::call const& call);
  void on_update_firmware(ocpp_wire::call const& call);
  void begin_update(firmware_request request);
  void refuse(ocpp_wire::call const& call, ocpp_wire::refusal const& fault);
  void reboot(std::string const& version);
  void on_upload_end(std::string const& file, upload_outcome const& outcome);

  asio::io_context& loop;
  std::shared_ptr<station_options const> options;
  std::shared_ptr<station_journal> journal;
  web_location server;
  asio::steady_timer pause;
  status_reports reports;
  std::shared_ptr<station_session> session;
  std::shared_ptr<diagnostics_job> job;     ///< set while an upload is in progress
  std::shared_ptr<firmware_update> update;  ///< set while an update is in progress
  unsigned int last_update = 0;
  bool was_download_broken = false;
  station_status status;
  std::chrono::milliseconds pause_time{};
  bool is_stopping = false;
};

bool simulated_station::members::prepare() {
  if (!is_station_identity(options->identity)) {
    spdlog::error(
        "[simulated_station] identity \"{}\" cannot be used, expected 1 to 48 of A-Z a-z 0-9 *-_=:+|@.",
        options->identity);
    return false;
  }
  auto const location = parse_web_location(options->url, "ws");
  if (!location) {
    spdlog::error("[simulated_station] url \"{}\" cannot be used, expected ws://host:port/path",
                  options->url);
    return false;
  }
  server = *location;
  server.path = append_segment(server.path, options->identity);
  std::error_code error;
  std::filesystem::create_directories(options->work_folder, error);
  journal = std::make_shared<station_journal>(options->work_folder / "station.log");
  if (!journal->is_open()) {
    spdlog::error("[simulated_station] cannot open {}, expected a folder that can be written to",
                  journal->path().string());
    return false;
  }
  return true;
}

void simulated_station::members::halt() {
  is_stopping = true;
  pause.cancel();
  reports.stop();
  if (session) {
    session->close();
  }
  if (job) {
    job->cancel();
  }
  if (update) {
    update->cancel();
  }
}

asio::awaitable<void> simulated_station::members::stay_connected(std::shared_ptr<members> self) {
  self->pause_time = self->options->pace.first_pause;
  while (!self->is_stopping) {
    self->session = self->make_session();
    self->reports.set_session(self->session);
    auto const reason = co_await self->session->run(self->server);
    self->session.reset();
    self->reports.set_session(nullptr);
    if (self->is_stopping) {
      self->on_session_over(reason, std::chrono::milliseconds(0));
      co_return;
    }
    auto const time = self->pause_time;
    self->on_session_over(reason, time);
    self->pause_time = next_reconnect_pause(time, self->options->pace.longest_pause);
    boost::system::error_code ignored;
    self->pause.expires_after(time);
    co_await self->pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  }
}

std::shared_ptr<station_session> simulated_station::members::make_session() {
  // Weak, because the station owns the session that holds these.
  std::weak_ptr<members> const weak = weak_from_this();
  session_handlers handlers;
  handlers.on_connected = [weak] {
    if (auto const self = weak.lock()) {
      self->on_connected();
    }
  };
  handlers.on_booted = [weak](std::chrono::seconds interval) {
    if (auto const self = weak.lock()) {
      self->on_booted(interval);
    }
  };
  handlers.on_ready = [weak] {
    if (auto const self = weak.lock()) {
      self->reports.on_ready();
    }
  };
  handlers.on_call = [weak](ocpp_wire::call const& call) {
    if (auto const self = weak.lock()) {
      self->on_call(call);
    }
  };
  return std::make_shared<station_session>(loop.get_executor(), options, journal, std::move(handlers));
}

void simulated_station::members::on_connected() {
  status.is_connected = true;
  spdlog::info("{} connected", options->identity);
}

void simulated_station::members::on_booted(std::chrono::seconds interval) {
  // Only here, and not when the WebSocket opens: a server that accepts and drops must not be rushed at.
  pause_time = options->pace.first_pause;
  status.heartbeat_interval = interval;
  spdlog::info("{} booted", options->identity);
}

void simulated_station::members::on_session_over(std::string const& reason,
                                                 std::chrono::milliseconds next_try) {
  if (!std::exchange(status.is_connected, false)) {
    if (!is_stopping) {
      spdlog::warn("{} cannot connect to {}: {}; tries again in {} ms", options->identity, options->url,
                   reason, next_try.count());
    }
    return;
  }
  spdlog::info("{} disconnected", options->identity);
  journal->record("disconnected", reason);
}

void simulated_station::members::on_call(ocpp_wire::call const& call) {
  if (call.action == "GetDiagnostics") {
    on_get_diagnostics(call);
  } else if (call.action == "UpdateFirmware") {
    on_update_firmware(call);
  } else {
    spdlog::info("{} refused {}", options->identity, call.action);
    session->send(
        encode(ocpp_wire::refused_call{call.id,
                                       {ocpp_wire::error_code::not_implemented,
                                        "this station answers GetDiagnostics and UpdateFirmware only"}}));
  }
}

void simulated_station::members::refuse(ocpp_wire::call const& call, ocpp_wire::refusal const& fault) {
  spdlog::warn("[simulated_station] {}: {} was refused: {}", options->identity, call.action,
               fault.description);
  session->send(encode(ocpp_wire::refused_call{call.id, fault}));
}

void simulated_station::members::on_get_diagnostics(ocpp_wire::call const& call) {
  auto request = parse_diagnostics_request(call.payload);
  if (auto const* fault = std::get_if<ocpp_wire::refusal>(&request)) {
    refuse(call, *fault);
    return;
  }
  spdlog::info("{} was asked for diagnostics", options->identity);
  auto const is_new = !job;
  if (is_new) {
    auto const name = make_diagnostics_file_name(options->identity, std::chrono::system_clock::now());
    job = std::make_shared<diagnostics_job>(
        loop.get_executor(), std::move(std::get<diagnostics_request>(request)), name, *options);
  }
  json answer = json::object();
  answer["fileName"] = job->file_name();
  session->send(encode(ocpp_wire::call_result{call.id, std::move(answer)}));
  if (is_new) {
    spawn_task(loop.get_executor(), deliver_diagnostics(shared_from_this(), job));
  }
}

asio::awaitable<void> simulated_station::members::deliver_diagnostics(std::shared_ptr<members> self,
                                                                      std::shared_ptr<diagnostics_job> work) {
  auto const outcome = co_await self->make_and_upload(*work);
  work->discard();
  // From here on a further request is a new one, even though the central system has not heard the end yet.
  self->job.reset();
  self->on_upload_end(work->file_name(), outcome);
  auto status_name = std::string(outcome.is_done ? "Uploaded" : "UploadFailed");
  // The central system waits for this one.
  co_await self->reports.tell("DiagnosticsStatusNotification", std::move(status_name));
}

asio::awaitable<upload_outcome> simulated_station::members::make_and_upload(diagnostics_job& work) {
  upload_outcome outcome;
  diagnostics_material material;
  material.journal = journal->path();
  material.configuration = describe_configuration(*options);
  material.status = describe_status(*options, status);
  outcome.reason = co_await work.prepare(std::move(material));
  if (!outcome.reason.empty() || is_stopping) {
    co_return outcome;
  }
  std::string beginning("Uploading");
  co_await reports.mention("DiagnosticsStatusNotification", std::move(beginning));
  outcome = co_await work.upload();
  co_return outcome;
}

void simulated_station::members::on_upload_end(std::string const& file, upload_outcome const& outcome) {
  status.last_upload = outcome.is_done ? "Uploaded" : "UploadFailed";
  if (outcome.is_done) {
    spdlog::info("{} uploaded {} ({} bytes)", options->identity, file, outcome.bytes);
    return;
  }
  spdlog::warn("{} upload failed: {}", options->identity, outcome.reason);
}

void simulated_station::members::on_update_firmware(ocpp_wire::call const& call) {
  auto request = parse_firmware_request(call.payload);
  if (auto const* fault = std::get_if<ocpp_wire::refusal>(&request)) {
    refuse(call, *fault);
    return;
  }
  if (update && !update->is_replaceable()) {
    refuse(call, {ocpp_wire::error_code::internal_error, "a firmware is being installed"});
    return;
  }
  if (update) {
    spdlog::info("{} gives up a firmware update for another one", options->identity);
    update->cancel();
  }
  session->send(encode(ocpp_wire::call_result{call.id, json::object()}));
  begin_update(std::move(std::get<firmware_request>(request)));
}

void simulated_station::members::begin_update(firmware_request request) {
  spdlog::info("{} was asked to update its firmware", options->identity);
  auto settings = *options;
  if (was_download_broken) {
    settings.break_download_after.reset();
  }
  // Weak, because the station owns the update that holds it.
  auto const tell = [weak = weak_from_this()](std::string status_name) {
    return tell_firmware_status(weak, std::move(status_name));
  };
  auto const name = "download_" + std::to_string(++last_update);
  update = std::make_shared<firmware_update>(loop.get_executor(), std::move(request), settings, name, tell);
  spawn_task(loop.get_executor(), update_firmware(shared_from_this(), update));
}

asio::awaitable<void> simulated_station::members::tell_firmware_status(std::weak_ptr<members> station,
                                                                       std::string status_name) {
  if (auto const self = station.lock()) {
    co_await self->reports.tell("FirmwareStatusNotification", std::move(status_name));
  }
}

asio::awaitable<void> simulated_station::members::update_firmware(std::shared_ptr<members> self,
                                                                  std::shared_ptr<firmware_update> work) {
  auto const version = co_await work->run();
  self->was_download_broken = self->was_download_broken || work->was_broken();
  // Another one may have taken its place.
  if (self->update == work) {
    self->update.reset();
  }
  if (version && !self->is_stopping) {
    self->reboot(*version);
  }
}

void simulated_station::members::reboot(std::string const& version) {
  spdlog::info("{} reboots with firmware {}", options->identity, version);
  auto changed = *options;
  changed.firmware_version = version;
  options = std::make_shared<station_options const>(std::move(changed));
  if (session) {
    session->close();
  }
}

simulated_station::simulated_station(asio::io_context& loop, station_options settings)
    : own(std::make_shared<members>(loop, std::move(settings))) {
}

simulated_station::~simulated_station() {
  own->halt();
}

bool simulated_station::start() {
  if (own->journal) {
    spdlog::error("[simulated_station] {} was started before, expected once", own->options->identity);
    return false;
  }
  if (!own->prepare()) {
    return false;
  }
  spawn_task(own->loop.get_executor(), members::stay_connected(own));
  return true;
}

void simulated_station::stop() {
  asio::post(own->loop, [self = own] { self->halt(); });
}

}  // namespace tavi::simulator
