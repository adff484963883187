#include "KvLiveMemo.h"

#include <QTextBlock>
#include <QTextCursor>

TKvLiveMemo::TKvLiveMemo(int maxLines, QWidget* parent)
    : QPlainTextEdit(parent), FMaxLines(maxLines) {
  setReadOnly(true);
}

void TKvLiveMemo::Prepend(const QString& text) {
  const QStringList lines = text.split('\n');
  for (auto line = lines.crbegin(); line != lines.crend(); ++line) FLines.push_front(*line);
  while (int(FLines.size()) > FMaxLines) FLines.pop_back();
  if (!isVisible()) {
    FStale = true;
    return;
  }
  QTextCursor top(document());
  top.movePosition(QTextCursor::Start);
  top.insertText(document()->isEmpty() ? text : text + '\n');
  TrimDocument();
}

void TKvLiveMemo::TrimDocument() {
  QTextDocument* doc = document();
  if (doc->blockCount() <= FMaxLines) return;
  QTextCursor cut(doc->findBlockByNumber(FMaxLines - 1));
  cut.movePosition(QTextCursor::EndOfBlock);
  cut.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
  cut.removeSelectedText();
}

void TKvLiveMemo::Clear() {
  FLines.clear();
  FStale = false;
  clear();
}

QStringList TKvLiveMemo::Lines() const {
  return QStringList(FLines.begin(), FLines.end());
}

void TKvLiveMemo::showEvent(QShowEvent* event) {
  if (FStale) {
    FStale = false;
    setPlainText(Lines().join('\n'));
  }
  QPlainTextEdit::showEvent(event);
}
