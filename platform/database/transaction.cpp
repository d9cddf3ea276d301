#include <exception>

#include "mura_common/database.h"

namespace mura_common {

transaction::transaction(IDatabase& target) : database(target), begun(run("BEGIN IMMEDIATE")) {
}

transaction::~transaction() {
  if (!begun) {
    return;
  }
  try {
    static_cast<void>(run("ROLLBACK"));
  } catch (std::exception const&) {
    // Without memory for the statement, the connection's end takes it back.
  }
}

bool transaction::commit() {
  auto const committed = begun && run("COMMIT");
  begun = begun && !committed;
  return committed;
}

bool transaction::run(char const* sql) {
  auto const query = database.create_query(sql);
  statement const step(query);
  if (!step.is_done()) {
    reason = query ? step.error() : database.last_error();
  }
  return step.is_done();
}

}  // namespace mura_common
