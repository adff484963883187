// The orthogonal router of side lines. Each end is a record of position and orientation;
// the ends take turns stepping out until both point at each other, then they are joined.
// The handles it leaves are the two ends plus one handle in the middle of each inner
// segment; the staircase through them gives the corners back.
#include <climits>
#include <cmath>

#include "KvDiagram.h"

namespace {

struct TSideEnd {
  TDot P;
  TAnchorOrientation O = aoNone;
};

bool IsHorizontalDir(TAnchorOrientation d) {
  return d == aoLeft || d == aoRight;
}

TAnchorOrientation Resolve(const TSideEnd& self, const TSideEnd& other) {
  double dx = other.P.X - self.P.X, dy = other.P.Y - self.P.Y;
  auto horz = [&] { return dx < 0 ? aoLeft : aoRight; };
  auto vert = [&] { return dy < 0 ? aoUp : aoDown; };
  switch (self.O) {
    case aoUp:
    case aoDown:
    case aoLeft:
    case aoRight:
      return self.O;
    case aoHorz:
      return horz();
    case aoVert:
      return vert();
    case aoNone:
      switch (other.O) {
        case aoNone:
          return std::abs(dx) <= std::abs(dy) ? vert() : horz();
        case aoHorz:
        case aoLeft:
        case aoRight:
          return vert();
        default:
          return horz();
      }
  }
  return aoRight;
}

bool Facing(const TSideEnd& a, const TSideEnd& b) {
  TAnchorOrientation da = Resolve(a, b), db = Resolve(b, a);
  if (da == aoRight && db == aoLeft) return b.P.X > a.P.X && a.P.Y != b.P.Y;
  if (da == aoLeft && db == aoRight) return b.P.X < a.P.X && a.P.Y != b.P.Y;
  if (da == aoDown && db == aoUp) return b.P.Y > a.P.Y && a.P.X != b.P.X;
  if (da == aoUp && db == aoDown) return b.P.Y < a.P.Y && a.P.X != b.P.X;
  return false;
}

bool Pointing(const TSideEnd& a, const TSideEnd& b) {
  if (Facing(a, b)) return false;
  double dx = b.P.X - a.P.X, dy = b.P.Y - a.P.Y;
  switch (Resolve(a, b)) {
    case aoRight:
      return dx > 0;
    case aoLeft:
      return dx < 0;
    case aoDown:
      return dy > 0;
    case aoUp:
      return dy < 0;
    default:
      return false;
  }
}

void Connect(TSideEnd& a, const TSideEnd& b) {
  if (IsHorizontalDir(Resolve(a, b))) {
    a.P.X = b.P.X;
    a.O = aoVert;
  } else {
    a.P.Y = b.P.Y;
    a.O = aoHorz;
  }
}

class TRouter {
 public:
  TRouter(const std::vector<TDot>& old) : FOld(old) {}
  bool SecondPass = false;

  void Advance(TSideEnd& self, const TSideEnd& other, int n) {
    TAnchorOrientation dir = Resolve(self, other);
    bool horz = IsHorizontalDir(dir);
    double limit = INT_MAX;
    if (Facing(self, other))
      limit = std::abs(horz ? other.P.X - self.P.X : other.P.Y - self.P.Y) - 10;
    double step;
    int m = std::abs(n);
    int count = int(FOld.size());
    if (m >= 1 && m < count - 1) {
      // Keep the length the user's route had at this place.
      const TDot& h = n > 0 ? FOld[m] : FOld[count - 1 - m];
      const TDot& nb = n > 0 ? FOld[m - 1] : FOld[count - m];
      step = std::abs(horz ? h.X - nb.X : h.Y - nb.Y);
      if (step < 10) {
        step = 10;
        SecondPass = true;
      }
    } else {
      step = limit < INT_MAX ? limit / 2 : 10;
    }
    if (step >= limit) step = limit - 1;
    if (dir == aoUp || dir == aoLeft) step = -step;
    if (horz) {
      self.P.X += step;
      self.O = aoVert;
    } else {
      self.P.Y += step;
      self.O = aoHorz;
    }
  }

 private:
  const std::vector<TDot>& FOld;
};

// Consecutive equal points go, and a corner between two runs on one axis.
TDotArray Tidy(const TDotArray& in) {
  TDotArray out;
  for (const TDot& p : in) {
    if (!out.empty() && out.back() == p) continue;
    if (out.size() >= 2) {
      const TDot& a = out[out.size() - 2];
      const TDot& b = out.back();
      if ((a.X == b.X && b.X == p.X) || (a.Y == b.Y && b.Y == p.Y)) out.pop_back();
    }
    out.push_back(p);
  }
  return out;
}

}  // namespace

TDotArray SideLineStaircase(const TStretchHandles& handles, TAnchorOrientation firstOrientation) {
  TDotArray pts;
  int n = handles.Count();
  if (n == 0) return pts;
  TDot cur{handles[0]->OrX, handles[0]->OrY};
  pts.push_back(cur);
  if (n == 1) return pts;
  int data = handles[0]->FData;
  bool horz;
  if (data == 1 || data == 2) {
    horz = data == 1;
  } else {
    TDot next{handles[1]->OrX, handles[1]->OrY};
    TSideEnd self{cur, firstOrientation}, other{next, aoNone};
    horz = IsHorizontalDir(Resolve(self, other));
  }
  for (int i = 1; i < n; ++i) {
    TDot next{handles[i]->OrX, handles[i]->OrY};
    TDot corner = horz ? TDot{next.X, cur.Y} : TDot{cur.X, next.Y};
    pts.push_back(corner);
    cur = corner;
    horz = !horz;
  }
  pts.push_back({handles[n - 1]->OrX, handles[n - 1]->OrY});
  return Tidy(pts);
}

void SideLineRoute(TCustomDiagramLine& line, TStretchHandles& handles) {
  std::vector<TDot> old;
  for (int i = 0; i < handles.Count(); ++i) old.push_back({handles[i]->OrX, handles[i]->OrY});
  const TSideEnd source{old.front(), line.EndOrientation(0)};
  const TSideEnd target{old.back(), line.EndOrientation(1)};
  for (int pass = 0; pass < 2; ++pass) {
    TRouter router(old);
    TSideEnd s = source, t = target;
    TDotArray head{s.P}, tail{t.P};  // tail runs from the target backwards
    int cs = 0, ct = 0;
    for (int guard = 0;; ++guard) {
      if (guard == 32 || (Pointing(s, t) && Pointing(t, s))) {
        Connect(s, t);
        head.push_back(s.P);
        break;
      }
      if (Pointing(s, t)) {
        router.Advance(t, s, -++ct);
        tail.push_back(t.P);
      } else {
        router.Advance(s, t, ++cs);
        head.push_back(s.P);
      }
    }
    head.insert(head.end(), tail.rbegin(), tail.rend());
    TDotArray pts = Tidy(head);
    // Handles: the ends and the middle of each inner segment.
    old.clear();
    old.push_back(pts.front());
    for (size_t i = 1; i + 2 < pts.size(); ++i)
      old.push_back({(pts[i].X + pts[i + 1].X) / 2, (pts[i].Y + pts[i + 1].Y) / 2});
    if (pts.size() > 1) old.push_back(pts.back());
    bool firstVert = pts.size() > 1 && pts[0].X == pts[1].X && pts[0].Y != pts[1].Y;
    bool lastVert = pts.size() > 1 && pts[pts.size() - 1].X == pts[pts.size() - 2].X &&
                    pts[pts.size() - 1].Y != pts[pts.size() - 2].Y;
    while (handles.Count() > 0) handles.Delete(0);
    for (size_t i = 0; i < old.size(); ++i)
      handles.Add(old[i].X, old[i].Y,
                  i == 0 || i + 1 == old.size() ? Qt::SizeAllCursor : Qt::SizeFDiagCursor, 0,
                  hsSize);
    handles[0]->FData = firstVert ? 2 : 1;
    if (handles.Count() > 1) handles[handles.Count() - 1]->FData = lastVert ? 2 : 1;
    if (!router.SecondPass) break;
  }
}
