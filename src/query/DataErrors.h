#pragma once
// The data layer's failures with the numbers and texts the data access layer reports, so the
// error log and the views show what they always showed.

#include "runtime/ErrorNumbers.h"
#include "runtime/Status.h"

namespace orbitel::data {

inline Status ItemNotFoundError() {
  return Status::Error(errors::kItemNotFoundInCollection,
                       "Item cannot be found in the collection corresponding to the requested "
                       "name or ordinal.");
}

inline Status NoCurrentRecordError() {
  return Status::Error(errors::kBofOrEof,
                       "Either BOF or EOF is True, or the current record has been deleted. "
                       "Requested operation requires a current record.");
}

inline Status FilterInvalidError() {
  return Status::Error(errors::kFilterInvalid,
                       "Arguments are of the wrong type, are out of acceptable range, or are in "
                       "conflict with one another.");
}

inline Status ClosedObjectError() {
  return Status::Error(errors::kOperationOnClosedObject,
                       "Operation is not allowed when the object is closed.");
}

}  // namespace orbitel::data
