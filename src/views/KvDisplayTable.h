#pragma once
// The display's small in-memory table of located points (fields DT, Loc, X, Y). Nothing in
// the program fills it yet; it is kept apart so that the table engine's names stay out of
// the diagram's.
#include <memory>

class TKvMemTable;

class TKvDisplayTable {
 public:
  struct TRow {
    double DT;  // date and time as a day count
    int Loc;
    double X, Y;
  };
  TKvDisplayTable();
  ~TKvDisplayTable();
  // Appends and posts one row stamped with the current date and time.
  void AddData(int Loc, double X, double Y);
  int RecordCount() const;
  // The row last appended; the table must not be empty.
  TRow LastRow() const;

 private:
  std::unique_ptr<TKvMemTable> FTable;
};
