#pragma once
// Finding the site folder from the running page's physical path.

namespace orbitel::site {

// Sets SitePath to the server variable PATH_TRANSLATED up to and including its last "/" or
// "\"; to empty when the only separator is the first character or there is none. Failures are
// logged under "DataCheaking.GetCurrentPath".
void GetCurrentPath();

}  // namespace orbitel::site
