#include "site/ErrorHandler.h"

#include <exception>

#include "runtime/ErrorNumbers.h"
#include "site/ErrorLog.h"

namespace orbitel::site {

Status RunLogged(std::string_view routine, const std::function<Status()>& body,
                 std::string_view context) {
  Status status = Status::Ok();
  try {
    status = body();
  } catch (const std::exception& error) {
    status = Status::Error(errors::kInvalidProcedureCall, error.what());
  } catch (...) {
    status = Status::Error(errors::kInvalidProcedureCall, "Unexpected failure");
  }
  if (!status.ok()) WriteErrorLog(routine, status, context);
  return status;
}

}  // namespace orbitel::site
