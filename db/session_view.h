// What Module1 shows on the window.
#pragma once

#include <string>

namespace db {

class SessionView {
 public:
  virtual ~SessionView() = default;
  // The caption of a version label: element 0 Data, 1 Tenkai (stored versions),
  // 2 and 3 the latest ones.
  virtual void SetVersionCaption(int element, const std::string& caption) = 0;
  virtual void ShowReinforcementRepair(bool visible) = 0;
  virtual void ClearList() = 0;
  virtual void AddListItem(const std::string& text) = 0;
};

}  // namespace db
