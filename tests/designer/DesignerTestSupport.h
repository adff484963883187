#pragma once
// The designer program as its entry starts it, and the user's hands on it: the palette, the
// mouse on the diagram, and what the user does while the modal designer is shown.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMouseEvent>
#include <QTemporaryDir>

#include "KvDiagram.h"
#include "LvxDesignerProgram.h"
#include "LvxTestSupport.h"
#include "UDmDgrEditorActions.h"
#include "UFmDiagramEditor.h"

class DesignerProgramTest : public VirtualTimeTest {
 protected:
  // What the user does while the designer is shown; the designer is closed afterwards.
  void WhileShown(std::function<void(TfmDiagramEditor&)> user) {
    Dialogs.OnShowModal = [user](QDialog& dialog) {
      auto& form = dynamic_cast<TfmDiagramEditor&>(dialog);
      user(form);
      form.reject();
      return int(mrCancel);
    };
  }
  static void Place(TKvDiagram* d, const QString& name, const TSquare& r) {
    auto* b = new TDiagramBlock(d->Owner());
    b->SetName(name);
    b->SetShape(bsRectangle);
    b->SetBoundsRect(r);
    b->SetDiagram(d);
    d->PushUndoStack("insert");
    d->Modified();
  }

  // Clicks the palette row caption under category, then drags over the diagram from one
  // point to another: a block takes the rectangle, a line joins the link points there.
  static TDiagramControl* Draw(TfmDiagramEditor& form, const QString& category,
                               const QString& caption, QPoint from, QPoint to) {
    TDiagramButtons* palette = form.DiagramButtons;
    QTreeWidgetItem* row = nullptr;
    for (int i = 0; i < palette->topLevelItemCount() && !row; ++i)
      if (QTreeWidgetItem* node = palette->topLevelItem(i); node->text(0) == category)
        for (int j = 0; j < node->childCount() && !row; ++j)
          if (node->child(j)->text(0) == caption) row = node->child(j);
    EXPECT_NE(row, nullptr) << caption.toStdString();
    if (!row) return nullptr;
    Q_EMIT palette->itemClicked(row, 0);
    TKvDiagram* d = form.Diagram();
    const int before = d->DControlCount();
    Mouse(d, QEvent::MouseButtonPress, from, Qt::LeftButton);
    Mouse(d, QEvent::MouseMove, (from + to) / 2, Qt::LeftButton);
    Mouse(d, QEvent::MouseMove, to, Qt::LeftButton);
    Mouse(d, QEvent::MouseButtonRelease, to, Qt::NoButton);
    EXPECT_EQ(d->DControlCount(), before + 1) << caption.toStdString();
    // The control inserted last is the one selected.
    return d->DControlCount() > before && d->SelectedCount() ? d->GetSelecteds(0) : nullptr;
  }
  // A block drawn from the palette over rect, named by the user.
  template <typename T>
  static T* DrawBlock(TfmDiagramEditor& form, const QString& category, const QString& caption,
                      const QRect& rect, const QString& name) {
    auto* b = dynamic_cast<T*>(
        Draw(form, category, caption, rect.topLeft(), rect.bottomRight() + QPoint(1, 1)));
    EXPECT_NE(b, nullptr) << caption.toStdString();
    if (b) b->SetName(name);
    return b;
  }
  // A line drawn from the palette from link point a of one block to link point b of another.
  static TCustomDiagramLine* DrawLine(TfmDiagramEditor& form, const QString& category,
                                      const QString& caption, TCustomDiagramBlock* from, int a,
                                      TCustomDiagramBlock* to, int b) {
    auto at = [](TCustomDiagramBlock* block, int i) {
      const TDot p = block->LinkPoints()[i]->DiagramPoint();
      return QPoint(qRound(p.X), qRound(p.Y));
    };
    auto* line =
        dynamic_cast<TCustomDiagramLine*>(Draw(form, category, caption, at(from, a), at(to, b)));
    EXPECT_TRUE(line && line->SourceLinkPoint()->Anchor() == from &&
                line->TargetLinkPoint()->Anchor() == to)
        << caption.toStdString();
    return line;
  }
  static void Mouse(TKvDiagram* d, QEvent::Type type, QPoint p, Qt::MouseButtons held) {
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent e(type, QPointF(p), d->viewport()->mapToGlobal(QPointF(p)), button, held, {});
    QCoreApplication::sendEvent(d->viewport(), &e);
  }
  // Serves the window thread (the path threads hand their steps to it) until done says so;
  // bounded, so that a hang fails instead of blocking the suite.
  static bool ServeUntil(const std::function<bool()>& done) {
    QDeadlineTimer limit(20000);
    while (!done() && !limit.hasExpired())
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
  }
  // Where review pictures go: $LVX_DESIGNER_SHOTS, or nowhere.
  static void SaveForReview(QWidget& w, const char* name) {
    const QString dir = qEnvironmentVariable("LVX_DESIGNER_SHOTS");
    if (!dir.isEmpty()) w.grab().save(dir + '/' + name);
  }
  QTemporaryDir Dir;
};
