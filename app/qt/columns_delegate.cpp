#include "app/qt/columns_delegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QListWidget>
#include <QPainter>
#include <QStyle>
#include <algorithm>

namespace app {
namespace {

struct Parts {
  QString first, second;
};

Parts PartsOf(const QString& text) {
  const qsizetype tab = text.indexOf(u'\t');
  Parts parts{text.left(tab), tab < 0 ? QString() : text.mid(tab + 1)};
  while (parts.first.endsWith(u' ')) parts.first.chop(1);
  return parts;
}

const QStyle& StyleOf(const QStyleOptionViewItem& option) {
  return option.widget != nullptr ? *option.widget->style() : *QApplication::style();
}

// What styles leave free on both sides of an item's text.
int TextMargin(const QStyleOptionViewItem& option) {
  return StyleOf(option).pixelMetric(QStyle::PM_FocusFrameHMargin, &option, option.widget) + 1;
}

}  // namespace

ColumnsDelegate::ColumnsDelegate(QListWidget& list) : QStyledItemDelegate(&list), list_(list) {
  const auto forget = [this] { tab_stop_.reset(); };
  connect(list.model(), &QAbstractItemModel::rowsInserted, this, forget);
  connect(list.model(), &QAbstractItemModel::rowsRemoved, this, forget);
  connect(list.model(), &QAbstractItemModel::modelReset, this, forget);
}

int ColumnsDelegate::TabStop(const QFont& font) const {
  if (!tab_stop_ || measured_font_ != font) {
    const QFontMetrics metrics(font);
    int widest = 0;
    for (int row = 0; row < list_.count(); ++row) {
      widest = std::max(widest, metrics.horizontalAdvance(PartsOf(list_.item(row)->text()).first));
    }
    tab_stop_ = widest + 2 * metrics.horizontalAdvance(u'　');
    measured_font_ = font;
  }
  return *tab_stop_;
}

void ColumnsDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
  QStyleOptionViewItem item = option;
  initStyleOption(&item, index);
  const Parts parts = PartsOf(item.text);
  const QStyle& style = StyleOf(item);
  const int margin = TextMargin(item);
  const QRect area = style.subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget)
                         .adjusted(margin, 0, -margin, 0);
  item.text.clear();
  style.drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);

  const bool selected = item.state.testFlag(QStyle::State_Selected);
  const QPalette::ColorGroup group =
      !item.state.testFlag(QStyle::State_Enabled) ? QPalette::Disabled
      : item.state.testFlag(QStyle::State_Active) ? QPalette::Active
                                                  : QPalette::Inactive;
  painter->save();
  painter->setFont(item.font);
  painter->setPen(item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
  constexpr int kFlags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine;
  painter->drawText(area, kFlags, parts.first);
  painter->drawText(area.adjusted(TabStop(item.font), 0, 0, 0), kFlags, parts.second);
  painter->restore();
}

QSize ColumnsDelegate::sizeHint(const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
  QStyleOptionViewItem item = option;
  initStyleOption(&item, index);
  const int second = QFontMetrics(item.font).horizontalAdvance(PartsOf(item.text).second);
  QSize size = QStyledItemDelegate::sizeHint(option, index);
  size.setWidth(TabStop(item.font) + second + 2 * TextMargin(item));
  return size;
}

}  // namespace app
