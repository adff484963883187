#pragma once
// The print preview of a diagram: TPagePreview shows one page as the printer would put it on
// paper, fitted into the widget; TfmDiagramPreview pages through them and prints.
#include <QDialog>
#include <QImage>
#include <QWidget>

class TKvDiagram;
class QLabel;
class QToolButton;

class TPagePreview : public QWidget {
 public:
  explicit TPagePreview(QWidget* parent = nullptr);
  void SetDiagram(TKvDiagram* diagram);
  int Page() const { return FPage; }
  int PageCount() const { return FPageCount; }
  // Clamped to the pages there are.
  void SetPage(int page);
  // Counts the pages again and redraws (after the diagram or its page settings changed).
  void Rebuild();
  std::function<void()> OnPageChange;

 protected:
  void paintEvent(QPaintEvent* e) override;
  void resizeEvent(QResizeEvent* e) override;

 private:
  // The paper's place in the widget, its aspect ratio kept.
  QRect PaperRect() const;
  TKvDiagram* FDiagram = nullptr;
  int FPage = 1;
  int FPageCount = 1;
  QImage FBitmap;
};

class TfmDiagramPreview : public QDialog {
 public:
  explicit TfmDiagramPreview(TKvDiagram* diagram, QWidget* parent = nullptr);
  TPagePreview* PagePreview;
  QToolButton* tbFirst;
  QToolButton* tbPrior;
  QToolButton* tbNext;
  QToolButton* tbLast;
  QToolButton* tbPrint;
  QLabel* lbPage;

 protected:
  void keyPressEvent(QKeyEvent* e) override { FormKeyDown(e); }

 private:
  void FormKeyDown(QKeyEvent* e);
  void UpdatePageLabel();
  TKvDiagram* FDiagram;
};
