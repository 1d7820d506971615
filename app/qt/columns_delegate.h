// Draws list items of the form "first<tab>second" in two columns.
#pragma once

#include <QFont>
#include <QStyledItemDelegate>
#include <optional>

class QListWidget;

namespace app {

// The second column begins behind the widest first part of the list, measured
// without the blanks that fill it up. The items keep their text.
class ColumnsDelegate : public QStyledItemDelegate {
 public:
  explicit ColumnsDelegate(QListWidget& list);

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  // Where the second column begins, in pixels from where the text does.
  int TabStop(const QFont& font) const;

 private:
  QListWidget& list_;
  mutable std::optional<int> tab_stop_;
  mutable QFont measured_font_;
};

}  // namespace app
