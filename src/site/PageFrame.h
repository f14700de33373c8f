#pragma once
// What every page class shares: the start of a page, the requested date and its links, the
// version, the error text and the access check. Written once here; each page class names its
// page, its date step and its access level in a PageDefinition and makes public the shared
// methods its page offers (with using-declarations), so no page carries its own copy.

#include <cstdint>
#include <memory>
#include <string>

namespace orbitel::site {

class PageContext;

enum class DateStep { kNone, kDay, kWeek, kMonth };

struct PageDefinition {
  const char* page_name;        // "CalendarMonth.asp": the previous/next links and sign-in return
  DateStep step;                // how far ShowPreviousDate / ShowNextDate move
  std::int16_t access_level;    // 1 users and administrator, 2 administrator only
  bool reads_requested_date = true;  // the appointment page leaves RequestedDate alone
};

class PageFrame {
 public:
  // Keeps the context, loads the site folder and settings on the thread's first page, and works
  // out RequestedDate. Ignores every error: whatever fails leaves its state as it was.
  void OnStartPage(std::shared_ptr<PageContext> context);

  const PageDefinition& definition() const { return page_; }

 protected:
  explicit PageFrame(const PageDefinition& page) : page_(page) {}

  // "?DAY=5&MONTH=3&YEAR=2003&USER=<the request's USER>" for RequestedDate.
  std::string ShowDateLink() const;
  // The page name and the date link of RequestedDate moved back / forward by the page's step.
  std::string ShowPreviousDate() const;
  std::string ShowNextDate() const;
  // "Wednesday, March 05, 2003".
  std::string ShowCurrentDate() const;
  std::string ShowCurrentVersion() const;
  // ErrorText as it stands (it is not cleared).
  std::string PrintGenerateErrors() const;
  // CalendarHtml as the view's last generator left it.
  std::string PrintCalendar() const;
  // The access check with the page's level and name (ValidateUserAccess/ValidateAdminAccess).
  void CheckPageAccess() const;

 private:
  std::string MovedDateLink(int direction) const;

  PageDefinition page_;
};

// A page that shows a date and steps through dates: every shared method is public. The team and
// personal views derive from it; pages with fewer shared methods derive from PageFrame itself.
class DatedPage : public PageFrame {
 public:
  using PageFrame::PrintCalendar;
  using PageFrame::PrintGenerateErrors;
  using PageFrame::ShowCurrentDate;
  using PageFrame::ShowCurrentVersion;
  using PageFrame::ShowDateLink;
  using PageFrame::ShowNextDate;
  using PageFrame::ShowPreviousDate;

 protected:
  using PageFrame::PageFrame;
};

}  // namespace orbitel::site
