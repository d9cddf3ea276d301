#pragma once

#include "diagnostic_table.h"
#include "report_quota.h"
#include "report_tree.h"

namespace tavi::stations_maintenance {

/// The reports that are kept: their rows, their files, and how much of them there may be.
struct report_store {
  diagnostic_table& table;  ///< must outlive this
  report_tree tree;
  report_quota quota;
};

}  // namespace tavi::stations_maintenance
