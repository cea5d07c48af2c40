#include "Kiln/DumpContext.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

using Kiln::DumpContext;
using Kiln::objDumpPrintf;

TEST(DumpContext, CopiesShareOneText) {
   DumpContext ctx, copy = ctx, other;
   objDumpPrintf(ctx, "a=%d\n", 1);
   objDumpPrintf(copy, "b=%s\n", "two");
   objDumpPrintf(other, "c");
   EXPECT_EQ(ctx.text(), "a=1\nb=two\n");
   EXPECT_EQ(copy.text(), "a=1\nb=two\n");
   EXPECT_EQ(other.text(), "c");
   copy.clear();
   objDumpPrintf(ctx, "%u%%", 50u);
   EXPECT_EQ(copy.text(), "50%");
}

TEST(DumpContext, IndentationAndLongText) {
   DumpContext ctx;
   objDumpPrintf(ctx, "rule: %s\n", "r1");
   objDumpPrintf(ctx, "%*ckey: %s\n", 3, ' ', "dst");
   // Width 0 still writes the blank: text at indentation 0 goes without "%*c".
   objDumpPrintf(ctx, "%*ckey: %s\n", 0, ' ', "x");
   EXPECT_EQ(ctx.text(), "rule: r1\n   key: dst\n key: x\n");

   // Formatted lengths 511 to 513 straddle the first formatting buffer.
   for (std::size_t size : {506u, 507u, 508u, 5000u}) {
      ctx.clear();
      std::string line(size, 'x');
      line.back() = 'z';
      objDumpPrintf(ctx, "%*c[%s]\n", 2, ' ', line.c_str());
      EXPECT_EQ(ctx.text(), "  [" + line + "]\n") << size;
   }
}

TEST(DumpContext, WritesToFileAndLeavesItOpen) {
   std::FILE* f = std::tmpfile();
   ASSERT_NE(f, nullptr);
   std::string const longLine(6000, 'q');
   {
      DumpContext ctx(f), copy = ctx;
      objDumpPrintf(ctx, "%*cname: %s\n", 2, ' ', "eth1");
      objDumpPrintf(copy, "%s\n", longLine.c_str());
      EXPECT_EQ(ctx.text(), "");
   }
   ASSERT_GE(std::fputs("after\n", f), 0);
   std::rewind(f);
   std::string got;
   for (int c; (c = std::fgetc(f)) != EOF;)
      got += static_cast<char>(c);
   EXPECT_EQ(got, "  name: eth1\n" + longLine + "\nafter\n");
   std::fclose(f);
}

TEST(DumpContext, WritesFromThreadsArriveWholeAndInOrder) {
   DumpContext ctx;
   constexpr int threads = 4, lines = 500;
   std::vector<std::thread> workers;
   for (int t = 0; t < threads; ++t) {
      workers.emplace_back([copy = ctx, t] {
         for (int i = 0; i < lines; ++i)
            objDumpPrintf(copy, "%d %04d\n", t, i);
      });
   }
   for (auto& w : workers)
      w.join();
   std::string text = ctx.text().str();
   ASSERT_EQ(text.size(), std::size_t(threads * lines) * 7);
   std::vector<int> seen(threads, 0);
   for (std::size_t at = 0; at < text.size(); at += 7) {
      int t = text[at] - '0', i = std::stoi(text.substr(at + 2, 4));
      ASSERT_TRUE(t >= 0 && t < threads && text[at + 6] == '\n') << at;
      EXPECT_EQ(i, seen[t]++) << "thread " << t;
   }
}
