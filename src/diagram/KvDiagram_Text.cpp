// Text cells on screen: line splitting, word wrap, alignment, rotation, clipping, frames.
#include <QFontMetricsF>

#include "KvDiagram.h"

QStringList KvWrapCellText(const QString& text, const std::function<double(const QString&)>& width,
                           double maxWidth, bool wordWrap) {
  QString t = text;
  t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  // A trailing line break opens no further line.
  if (t.endsWith('\n')) t.chop(1);
  QStringList lines = t.split('\n');
  if (!wordWrap) return lines;
  QStringList out;
  for (const QString& line : lines) {
    QString rest = line;
    while (!rest.isEmpty() && width(rest) > maxWidth) {
      // The last blank at which the head still fits; the blank stays with the head.
      int cut = -1;
      for (int i = 0; i < rest.size(); ++i)
        if (rest[i] == ' ' && width(rest.left(i)) <= maxWidth) cut = i;
      if (cut < 0) {
        // A word wider than the cell stands alone.
        cut = rest.indexOf(' ');
        if (cut < 0) break;
      }
      out << rest.left(cut + 1);
      rest = rest.mid(cut + 1);
    }
    out << rest;
  }
  return out;
}

void TDiagramControl::DrawCells(const TDiagramDrawInfo& info) {
  for (int i = 0; i < FTextCells.Count(); ++i) {
    TTextCell* cell = FTextCells[i];
    if (!cell->Visible || (FDiagram && FDiagram->FInplaceMemo == cell)) continue;
    DrawCell(info, cell);
  }
}

void TDiagramControl::DrawCell(const TDiagramDrawInfo& info, TTextCell* cell) {
  if (cell->Text().isEmpty() && !cell->CellFrame.Visible) return;
  if (!FDiagram) return;
  TSquare r = FDiagram->ClientToCanvas(CellRectToClient(cell, cell->Bounds()));
  r = {r.Left + 1, r.Top + 1, r.Right + 1, r.Bottom + 1};
  DrawCellText(info, cell, r);
}

void TDiagramControl::DrawCellText(const TDiagramDrawInfo& info, TTextCell* cell,
                                   const TSquare& r) {
  TDgrCanvas& c = *info.Canvas;
  double zoom = FDiagram->EffectiveZoom();
  // On paper the font grows with the printer's resolution like everything else.
  if (FDiagram->PaintStyle() == psPreview || FDiagram->PaintStyle() == psPrint)
    zoom = FDiagram->ResolutionScale();
  const TKvFont& font = cell->Font();
  c.SaveDrawingState();
  c.Font = font.ToQFont(zoom);
  c.FontColor = font.Color;
  c.FontTransparency = cell->ParentTransparency ? FTransparency : cell->Transparency;
  c.Brush().BrushMode = bmClear;
  double angle = cell->Angle();
  if (angle != 0 && cell->RotateFont) c.RotateTransform(angle, r.Center());

  auto width = [&](const QString& s) { return c.StringBounds(s).Width(); };
  QStringList lines = KvWrapCellText(cell->Text(), width, r.Width(), cell->WordWrap);
  double lh = c.FontHeight();
  double blockH = lh * lines.size();
  double y = cell->VertAlign == vaTop      ? r.Top
             : cell->VertAlign == vaBottom ? r.Bottom - blockH
                                           : r.Top + (r.Height() - blockH) / 2;
  if (cell->CellFrame.Visible) {
    const TTextCellFrame& f = cell->CellFrame;
    TSquare fr = r;
    if (f.AutoFrame) {
      double maxW = 0;
      for (const QString& l : lines) maxW = std::max(maxW, width(l));
      double x = cell->Alignment == taLeftJustify    ? r.Left
                 : cell->Alignment == taRightJustify ? r.Right - maxW + 1
                                                     : r.Left + (r.Width() - maxW) / 2;
      fr = TSquare{x, y, x + maxW, y + blockH}.Inflated(f.AutoFrameMargin * zoom);
    }
    c.SaveDrawingState();
    c.Pen().Assign(f.Pen);
    if (f.Transparent) {
      c.Brush().BrushMode = bmClear;
    } else {
      c.Brush().BrushMode = bmSolid;
      c.Brush().Color = f.Color;
    }
    c.Rectangle(fr);
    c.RestoreDrawingState();
  }
  if (cell->Clip) c.SetClip(r);
  for (const QString& line : lines) {
    double w = width(line);
    double x = cell->Alignment == taLeftJustify    ? r.Left
               : cell->Alignment == taRightJustify ? r.Right - w + 1
                                                   : r.Left + (r.Width() - w) / 2;
    c.DrawString(line, {x, y});
    y += lh;
  }
  c.RestoreDrawingState();
}
