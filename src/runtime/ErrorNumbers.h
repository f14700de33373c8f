#pragma once
// Error numbers as the original runtime and data access layer report them; the error log and
// the views' messages carry them unchanged.

namespace orbitel::errors {

inline constexpr long kInvalidProcedureCall = 5;
inline constexpr long kOverflow = 6;
inline constexpr long kSubscriptOutOfRange = 9;
inline constexpr long kTypeMismatch = 13;
inline constexpr long kFileNotFound = 53;
inline constexpr long kFileAlreadyOpen = 55;
inline constexpr long kPermissionDenied = 70;
inline constexpr long kPathNotFound = 76;
inline constexpr long kObjectRequired = 424;

// Data access layer.
inline constexpr long kItemNotFoundInCollection = 3265;  // a field the rowset does not have
inline constexpr long kBofOrEof = 3021;                  // no current record
inline constexpr long kProviderNotFound = 3706;
inline constexpr long kOperationOnClosedObject = 3709;
inline constexpr long kFilterInvalid = 3001;             // arguments of the wrong type or out of range
inline constexpr long kCannotOpenFolder = -2147217895;
inline constexpr long kSyntaxError = -2147217900;
inline constexpr long kPersistedFileInvalid = -2147467259;
inline constexpr long kItemChanged = -2147217864;  // a replace of an item changed since it was read

}  // namespace orbitel::errors
