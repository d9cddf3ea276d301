#pragma once

#include "firmware/byte_range.h"
#include "firmware/firmware_file.h"
#include "http_answer.h"
#include "http_exchange.h"

namespace tavi::site::firmware {

/// What is sent for a file.
struct delivery_plan {
  http::http_head head;  ///< status and fields
  byte_range body;       ///< what of the file follows; empty for none
};

/// Decides what is sent to whoever may have the file: 200 with the whole file, 206 with the part that a Range
/// field asks for (unless If-Range says that it was another file's), 416 for a part that the file does not
/// have. HEAD gets the head of the whole file. If-Match and If-None-Match are passed over: nobody may keep what is
/// sent here, so nobody has a copy to ask about.
/// @param header  of a GET or HEAD  @param file  to be sent
[[nodiscard]] delivery_plan plan_delivery(http::request_header const& header, file_state const& file);

}  // namespace tavi::site::firmware
