// TKvDiagram stored and restored: the object stream in both forms, files, Assign, and copy,
// cut and paste through the system clipboard.
#include <QBuffer>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>

#include "KvDiagram_Filer.h"
#include "KvDiagram_Memo.h"

const char* const TKvDiagram::ClipboardFormat = "Atelier Grapho";

namespace {

// Sets a value for the time of a scope.
template <typename T>
class TKvScopedValue {
 public:
  TKvScopedValue(T& ref, T value) : FRef(ref), FOld(ref) { FRef = value; }
  ~TKvScopedValue() { FRef = FOld; }

 private:
  T& FRef;
  T FOld;
};

// Prefixes a read error with the object and property it arose in, as the reader reports it.
[[noreturn]] void ReadingFailed(const QByteArray& object, const QByteArray& prop,
                                const EKvFilerError& e) {
  throw EKvReadError("Error reading " + object.toStdString() + "." + prop.toStdString() + ": " +
                     e.what());
}

}  // namespace

// ---- writing ----

QByteArray TKvDiagram::WriteStream(const std::function<bool(const TDiagramControl*)>& pass) const {
  QByteArray out;
  out.reserve(4096 + qsizetype(FDControls.size()) * 600);
  TKvBinaryWriter w(out);
  w.WriteSignature();
  w.WriteObjectHeader(ClassName().toUtf8(), objectName().toUtf8());
  KvDiagramProps().Write(*this, w);
  w.WriteListEnd();
  for (const TDiagramControl* c : FDControls)
    if (pass(c)) TKvControlFiler::WriteControl(*c, w);
  w.WriteListEnd();
  return out;
}

QByteArray TKvDiagram::SaveToBytes(bool textFormat) {
  TKvScopedValue<bool> streaming(FInternalStreaming, true);
  const QString name = objectName();
  setObjectName(QString());
  QByteArray bytes;
  try {
    bytes = WriteStream([this](const TDiagramControl* c) {
      return !FClipboardStreaming || c->Name().startsWith(FClipPrefix);
    });
    if (textFormat) bytes = KvObjectBinaryToText(bytes);
  } catch (...) {
    setObjectName(name);
    throw;
  }
  setObjectName(name);
  return bytes;
}

void TKvDiagram::SaveToStream(QIODevice& stream, bool textFormat) {
  stream.write(SaveToBytes(textFormat));
}

void TKvDiagram::SaveToFile(const QString& fileName) {
  const QByteArray binary = SaveToBytes(false);
  QFile f(fileName);
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
    throw EKvFilerError(QStringLiteral("Cannot create file \"%1\". %2")
                            .arg(fileName, f.errorString())
                            .toStdString());
  f.write(KvObjectBinaryToText(binary));
}

// ---- reading ----

namespace {

// Answers the control a stored reference names: "<owner alias>.Name", "<...>.Owner.Name" or
// the owner's own name in front, or the bare name. Anything else names nothing.
TDiagramControl* Resolve(const QString& ref, const QHash<QString, TDiagramControl*>& names,
                         const QObject* owner) {
  const qsizetype dot = ref.lastIndexOf('.');
  if (dot >= 0) {
    const QString prefix = ref.left(dot);
    const bool ownerRef = prefix == QLatin1String(KvOwnerAlias) ||
                          prefix.endsWith(QLatin1String(".Owner")) ||
                          (owner && !owner->objectName().isEmpty() &&
                           prefix.compare(owner->objectName(), Qt::CaseInsensitive) == 0);
    if (!ownerRef) return nullptr;
  }
  return names.value(ref.mid(dot + 1).toLower(), nullptr);
}

}  // namespace

std::vector<TDiagramControl*> TKvDiagram::ReadStream(const QByteArray& binary) {
  const TKvStreamObject root = KvReadObjectBinary(binary);
  SetLoading(true);
  TKvReadContext ctx;
  std::vector<TDiagramControl*> created;
  try {
    const QByteArray rootName = root.Name.isEmpty() ? root.ClassName : root.Name;
    for (const TKvProperty& p : root.Props) {
      try {
        if (!KvDiagramProps().Read(*this, p.Name, p.V(), ctx)) KvNoSuchProperty(p.Name);
      } catch (const EKvFilerError& e) {
        ReadingFailed(rootName, p.Name, e);
      }
    }
    created.reserve(root.Children.size());
    for (const TKvStreamObject& child : root.Children) {
      TDControlFactory factory = KvFindClass(QString::fromUtf8(child.ClassName));
      if (!factory) throw EKvClassNotFound("Class " + child.ClassName.toStdString() + " not found");
      if (!child.Children.empty()) throw EKvReadError(SInvalidImage);
      const QString name = QString::fromUtf8(child.Name);
      if (!name.isEmpty() && FNameSet.contains(name.toLower()))
        throw EKvReadError("A component named " + child.Name.toStdString() + " already exists");
      TDiagramControl* c = factory(FOwner);
      c->FLoading = true;
      c->SetName(name);
      c->SetDiagram(this);
      created.push_back(c);
      for (const TKvProperty& p : child.Props) {
        try {
          TKvControlFiler::ReadProperty(*c, p, ctx);
        } catch (const EKvFilerError& e) {
          ReadingFailed(child.Name, p.Name, e);
        }
      }
      TKvControlFiler::AfterRead(*c);
    }
    // References may point forward: they are resolved once every control is in.
    QHash<QString, TDiagramControl*> names;
    names.reserve(qsizetype(FDControls.size()));
    for (TDiagramControl* c : FDControls)
      if (!c->Name().isEmpty()) names.insert(c->Name().toLower(), c);
    for (auto& [ref, set] : ctx.Fixups) set(Resolve(ref, names, FOwner));
    // An index whose control did not turn up points nowhere.
    for (TDiagramControl* c : created)
      for (int i = 0; i < c->LinkPoints().Count(); ++i)
        if (!c->LinkPoints()[i]->Anchor()) c->LinkPoints()[i]->SetAnchorIndex(-1);
  } catch (...) {
    for (auto it = created.rbegin(); it != created.rend(); ++it) delete *it;
    SetLoading(false);
    throw;
  }
  Loaded();
  return created;
}

void TKvDiagram::LoadFromBytes(const QByteArray& bytes, bool textFormat) {
  ++FInternalUpdating;
  const QString name = objectName();
  try {
    Clear();
    setObjectName(QString());
    ReadStream(textFormat ? KvObjectTextToBinary(bytes) : bytes);
  } catch (...) {
    // A failed read leaves the diagram cleared and nameless.
    ClearDControls();
    --FInternalUpdating;
    throw;
  }
  setObjectName(name);
  --FInternalUpdating;
}

void TKvDiagram::LoadFromStream(QIODevice& stream, bool textFormat) {
  LoadFromBytes(stream.readAll(), textFormat);
}

void TKvDiagram::LoadFromFile(const QString& fileName) {
  QFile f(fileName);
  if (!f.open(QIODevice::ReadOnly))
    throw EKvFilerError(
        QStringLiteral("Cannot open file \"%1\". %2").arg(fileName, f.errorString()).toStdString());
  const QByteArray text = f.readAll();
  Clear();
  LoadFromBytes(KvObjectTextToBinary(text), false);
  ClearUndoStack();
}

void TKvDiagram::Assign(TKvDiagram* source) {
  if (!source || source == this) return;
  const QByteArray bytes = source->SaveToBytes(false);
  const QString name = objectName();
  setObjectName(QString());
  ++FInternalUpdating;
  try {
    ReadStream(bytes);
  } catch (...) {
    --FInternalUpdating;
    setObjectName(name);
    throw;
  }
  --FInternalUpdating;
  setObjectName(name);
}

// ---- clipboard ----

namespace {

bool InDrag(TMouseState s) {
  switch (s) {
    case msSelecting:
    case msInserting:
    case msMoving:
    case msLink:
    case msResizing:
    case msDrawing:
    case msPanning:
    case msZooming:
      return true;
    default:
      return false;
  }
}

void RenameForClipboard(TDiagramControl* c, const QString& prefix) {
  if (!c->Name().startsWith(prefix)) c->SetName(prefix + c->Name());
  if (auto* g = dynamic_cast<TBaseGroupBlock*>(c))
    for (TDiagramControl* m : g->Members().FItems) RenameForClipboard(m, prefix);
}

}  // namespace

bool TKvDiagram::CanCopy() const {
  return !FSelecteds.empty() && !InDrag(FMouseState);
}

bool TKvDiagram::CanPaste() const {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  if (!data) return false;
  if (FInplaceMemo) return data->hasText();
  return data->hasFormat(QLatin1String(ClipboardFormat)) && !InDrag(FMouseState);
}

QByteArray TKvDiagram::ControlsToText(const std::vector<TDiagramControl*>& controls) {
  for (TDiagramControl* c : controls) RenameForClipboard(c, FClipPrefix);
  auto strip = [this] {
    for (TDiagramControl* c : FDControls)
      if (c->Name().startsWith(FClipPrefix)) c->SetName(c->Name().mid(FClipPrefix.size()));
  };
  QByteArray text;
  TKvScopedValue<bool> clip(FClipboardStreaming, true);
  try {
    text = SaveToBytes(true);
  } catch (...) {
    strip();
    throw;
  }
  strip();
  return text;
}

void TKvDiagram::CopyToClipboard() {
  if (FInplaceMemo && FEditor) {
    FEditor->copy();
    return;
  }
  std::vector<TDiagramControl*> copied;
  for (TDiagramControl* c : FSelecteds) {
    if (!c->CanClipboard()) continue;
    if (c->GroupBlock() && c->GroupBlock()->Selected()) continue;
    copied.push_back(c);
  }
  const QByteArray text = ControlsToText(copied);
  auto* data = new QMimeData;
  data->setData(QLatin1String(ClipboardFormat), QByteArray());
  data->setText(QString::fromLatin1(text));
  QGuiApplication::clipboard()->setMimeData(data);
}

void TKvDiagram::CutToClipboard() {
  if (FInplaceMemo && FEditor) {
    FEditor->cut();
    return;
  }
  CopyToClipboard();
  // What did not go onto the clipboard stays.
  for (TDiagramControl* c : std::vector<TDiagramControl*>(FSelecteds))
    if (!c->CanClipboard()) c->SetSelected(false);
  DeleteSelecteds();
  Redraw();
}

void TKvDiagram::PasteFromClipboard() {
  if (FInplaceMemo && FEditor) {
    FEditor->paste();
    return;
  }
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  if (!data || !data->hasFormat(QLatin1String(ClipboardFormat))) return;
  const QByteArray text = data->text().toLatin1();
  if (text.isEmpty()) return;
  const QByteArray binary = KvObjectTextToBinary(text);

  // The pasted stream carries diagram-level properties too: keep this diagram's own.
  ++FInternalUpdating;
  const QByteArray own = WriteStream([](const TDiagramControl*) { return false; });
  const QString name = objectName();
  setObjectName(QString());
  std::vector<TDiagramControl*> pasted;
  try {
    pasted = ReadStream(binary);
    ReadStream(own);
  } catch (...) {
    setObjectName(name);
    --FInternalUpdating;
    throw;
  }
  setObjectName(name);
  --FInternalUpdating;

  std::vector<TDiagramControl*> renamed;
  for (TDiagramControl* c : pasted) {
    if (!c->Name().startsWith(FClipPrefix)) continue;
    c->SetName(c->Name().mid(FClipPrefix.size()));
    if (NameTaken(c, c->Name())) c->SetName(FindCompName(c));
    renamed.push_back(c);
  }

  BeginUpdateSel();
  UnselectAll();
  for (TDiagramControl* c : renamed) {
    if (c->GroupBlock()) continue;
    c->SetSelected(true);
    auto* b = dynamic_cast<TCustomDiagramBlock*>(c);
    if (!b) continue;
    // Each paste onto the same spot lands 20 further on.
    auto occupied = [&] {
      for (TCustomDiagramBlock* o : FBlocks)
        if (o != b && !o->GroupBlock() && o->IsVisibleNow() && o->Left() == b->Left() &&
            o->Top() == b->Top())
          return true;
      return false;
    };
    while (occupied()) b->MoveBy(20, 20);
  }
  EndUpdateSel();

  RecalcScrollRanges();
  for (TDiagramControl* c : std::vector<TDiagramControl*>(FSelecteds)) {
    c->NotifyAnchoreds(acPosition);
    if (OnInsertDControl) OnInsertDControl(this, c);
    if (auto* line = dynamic_cast<TCustomDiagramLine*>(c)) {
      if (OnInsertLink) OnInsertLink(this, line);
    } else if (auto* block = dynamic_cast<TCustomDiagramBlock*>(c)) {
      if (OnInsertBlock) OnInsertBlock(this, block);
    }
  }
  Modified();
  PushUndoStack(QStringLiteral("paste"));
}
