
// ---- regional settings --------------------------------------------------------------------

// The document holds binary numbers and day counts: whatever the regional settings, a save
// gives the same bytes and a load the same values, while the table shows them in the
// settings' own form.
TEST_F(DocumentLifecycleTest, DocumentsReadAndWriteAlikeUnderEveryRegionalSetting) {
  struct TRegion {
    const char* Name;
    QChar Decimal;
    const char* ShortDate;
    const char* LongTime;
    const char* Level;
    const char* Date;
  };
  const TRegion regions[] = {
      {"C", '.', "mm/dd/yy", "hh:nn:ss", "61.5", "11/23/26"},
      {"en_US", '.', "m/d/yyyy", "h:nn:ss", "61.5", "11/23/2026"},
      {"de_DE", ',', "dd.mm.yyyy", "hh:nn:ss", "61,5", "23.11.2026"},
      {"fr_FR", ',', "dd/mm/yyyy", "hh:nn:ss", "61,5", "23/11/2026"},
  };
  QByteArray first;
  for (const TRegion& r : regions) {
    TKvLocale locale = PinnedTestLocale();
    locale.DecimalSeparator = r.Decimal;
    locale.ShortDateFormat = r.ShortDate;
    locale.LongTimeFormat = r.LongTime;
    KvLocale_Pin(locale);
    Dialogs.Answers = {mrNo};
    DmKvBasic->ActionFileNewExecute();
    Record(61.5);
    const QString name = Doc(QString("%1.dat").arg(r.Name));
    Dialogs.FileAnswers = {name};
    DmKvBasic->FileSaveAs1->trigger();
    QFile saved(name);
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly)) << r.Name;
    const QByteArray bytes = saved.readAll();
    if (first.isEmpty()) first = bytes;
    EXPECT_EQ(bytes, first) << r.Name;

    Dialogs.Answers = {mrNo};
    DmKvBasic->ActionFileNewExecute();
    OpenThroughDialog(name);
    TKvMemTable& t = Commander->KvMemTableData;
    t.First();
    EXPECT_EQ(t.FieldByName("Y").AsString(), r.Level) << r.Name;
    EXPECT_EQ(t.FieldByName("Date").AsString(), r.Date) << r.Name;
    EXPECT_EQ(t.FieldByName("Date").AsDateTime(), EncodeDate(2026, 11, 23)) << r.Name;
    EXPECT_EQ(t.FieldByName("Time").AsDateTime(), EncodeTime(11, 0, 0, 0)) << r.Name;
  }
  KvLocale_Pin(PinnedTestLocale());
}
