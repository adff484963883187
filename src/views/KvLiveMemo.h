#pragma once
// A read-only log that shows the newest lines first and keeps at most a fixed number of them.
// It is fed with every reading for days while its tab is usually never shown, so the lines
// live in a plain ring and reach the text widget only while it is visible: laying out text
// nobody sees would cost the recording's main thread with every reading.
#include <QPlainTextEdit>
#include <QStringList>
#include <deque>

class TKvLiveMemo : public QPlainTextEdit {
 public:
  TKvLiveMemo(int maxLines, QWidget* parent = nullptr);

  // Lines of text above all earlier ones, in their own order.
  void Prepend(const QString& text);
  void Clear();
  // Newest first, as shown.
  QStringList Lines() const;
  int MaxLines() const { return FMaxLines; }

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void TrimDocument();
  const int FMaxLines;
  std::deque<QString> FLines;
  bool FStale = false;
};
