#include "platform/Arrays.h"

#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <vector>

namespace
{

using Ints = CArray<int, int>;

std::vector<int> elements(const Ints& array)
{
    return array.IsEmpty() ? std::vector<int>()
                           : std::vector<int>(array.GetData(), array.GetData() + array.GetSize());
}

Ints& fill(Ints& array, int count)
{
    for (int i = 1; i <= count; ++i) array.Add(i);
    return array;
}

// The size at which the storage moves is the capacity.
int capacityOf(CByteArray& array)
{
    const unsigned char* data = array.GetData();
    int size = array.GetSize();
    while (array.GetData() == data) array.SetSize(++size);
    return size - 1;
}

TEST(ArraysTest, ANewArrayIsEmpty)
{
    const Ints array;
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.GetUpperBound(), -1);
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.GetData(), nullptr);
}

TEST(ArraysTest, GrowthIsFilledWithZeros)
{
    Ints array;
    array.SetSize(5);
    EXPECT_EQ(elements(array), std::vector<int>(5, 0));
    CArray<double, double> doubles;
    doubles.SetSize(2);
    EXPECT_EQ(doubles[1], 0.0);
    CStringArray texts;
    texts.SetSize(2);
    EXPECT_TRUE(texts[1].IsEmpty());
}

TEST(ArraysTest, WhatComesBackAfterAShrinkIsZero)
{
    Ints array;
    fill(array, 6);
    array.SetSize(2);
    array.SetSize(6);
    EXPECT_EQ(elements(array), (std::vector<int>{1, 2, 0, 0, 0, 0}));
    CStringArray texts;
    texts.Add("a");
    texts.Add("b");
    texts.SetSize(1);
    texts.SetSize(2);
    EXPECT_STREQ(texts[0], "a");
    EXPECT_STREQ(texts[1], "");
}

TEST(ArraysTest, AShrinkKeepsTheStorageAndSizeZeroGivesItBack)
{
    Ints array;
    array.SetSize(100);
    const int* data = array.GetData();
    array.SetSize(1);
    EXPECT_EQ(array.GetData(), data);
    array.SetSize(0);
    EXPECT_EQ(array.GetData(), nullptr);
    EXPECT_EQ(array.GetSize(), 0);
}

TEST(ArraysTest, ANegativeSizeCountsAsZero)
{
    Ints array;
    array.SetSize(3);
    array.SetSize(-1);
    EXPECT_EQ(array.GetSize(), 0);
    array.SetSize(INT_MIN);
    EXPECT_TRUE(array.IsEmpty());
}

TEST(ArraysTest, TheFirstStorageHasTheSizeThatWasAskedFor)
{
    CByteArray array;
    array.SetSize(10);
    EXPECT_EQ(capacityOf(array), 10);
}

TEST(ArraysTest, WithoutAStepStorageGrowsByAnEighthOfAtLeastFour)
{
    CByteArray few;
    few.SetSize(10);
    few.SetSize(11);
    EXPECT_EQ(capacityOf(few), 14);
    CByteArray more;
    more.SetSize(80);
    more.SetSize(81);
    EXPECT_EQ(capacityOf(more), 90);
}

TEST(ArraysTest, WithoutAStepStorageGrowsByAtMostAThousandAndTwentyFour)
{
    CByteArray array;
    array.SetSize(100000);
    array.SetSize(100001);
    EXPECT_EQ(capacityOf(array), 101024);
}

TEST(ArraysTest, AStepIsKeptUntilAnotherIsSet)
{
    CByteArray array;
    array.SetSize(10, 50);
    array.SetSize(11);
    EXPECT_EQ(capacityOf(array), 60);
    array.SetSize(62, 7);
    array.SetSize(111);
    EXPECT_EQ(capacityOf(array), 117);
}

TEST(ArraysTest, GrowthBeyondTheStepTakesJustWhatIsAskedFor)
{
    CByteArray array;
    array.SetSize(10, 5);
    array.SetSize(1000);
    EXPECT_EQ(capacityOf(array), 1000);
}

TEST(ArraysTest, GrowthKeepsTheElements)
{
    Ints array;
    fill(array, 3);
    array.SetSize(1000);
    EXPECT_EQ(array[0], 1);
    EXPECT_EQ(array.GetAt(2), 3);
    EXPECT_EQ(array.ElementAt(3), 0);
}

TEST(ArraysTest, AddAnswersTheIndex)
{
    Ints array;
    EXPECT_EQ(array.Add(7), 0);
    EXPECT_EQ(array.Add(8), 1);
    array.SetAt(0, 9);
    EXPECT_EQ(elements(array), (std::vector<int>{9, 8}));
}

TEST(ArraysTest, SetAtGrowGrowsUpToTheElement)
{
    Ints array;
    array.SetAtGrow(3, 5);
    EXPECT_EQ(elements(array), (std::vector<int>{0, 0, 0, 5}));
    array.SetAtGrow(1, 6);
    EXPECT_EQ(elements(array), (std::vector<int>{0, 6, 0, 5}));
}

TEST(ArraysTest, AnElementOfTheArrayItselfMayBeAppended)
{
    CStringArray array;
    array.Add("a text that is too long for a short one");
    for (int i = 0; i < 20; ++i) array.Add(array[0]);
    EXPECT_STREQ(array[20], "a text that is too long for a short one");
    array.SetAtGrow(500, array[20]);
    EXPECT_STREQ(array[500], "a text that is too long for a short one");
}

TEST(ArraysTest, AnElementOfTheArrayItselfMayBeInserted)
{
    CStringArray array;
    array.Add("first text, longer than a short one is");
    array.Add("second");
    array.InsertAt(0, array[1]);
    EXPECT_STREQ(array[0], "second");
    EXPECT_STREQ(array[1], "first text, longer than a short one is");
    EXPECT_STREQ(array[2], "second");
}

TEST(ArraysTest, InsertAtMovesWhatLiesBehind)
{
    Ints array;
    fill(array, 3).InsertAt(1, 9, 2);
    EXPECT_EQ(elements(array), (std::vector<int>{1, 9, 9, 2, 3}));
    array.InsertAt(5, 8);
    EXPECT_EQ(elements(array), (std::vector<int>{1, 9, 9, 2, 3, 8}));
}

TEST(ArraysTest, InsertAtBehindTheEndFillsTheGapWithZeros)
{
    Ints array;
    fill(array, 1).InsertAt(3, 9, 2);
    EXPECT_EQ(elements(array), (std::vector<int>{1, 0, 0, 9, 9}));
}

TEST(ArraysTest, InsertAtOfNoneChangesNothing)
{
    Ints array;
    fill(array, 2).InsertAt(0, 9, 0);
    array.InsertAt(5, 9, -1);
    EXPECT_EQ(elements(array), (std::vector<int>{1, 2}));
}

TEST(ArraysTest, RemoveAllLeavesAnEmptyArray)
{
    Ints array;
    fill(array, 4).RemoveAll();
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.Add(1), 0);
}

// Runs out of memory at the n-th element from now.
struct Scarce {
    Scarce()
    {
        if (left > 0 && --left == 0) throw std::bad_alloc();
    }
    int value = 0;
    static int left;
};
int Scarce::left = 0;

TEST(ArraysTest, WhatCanNotBeAllocatedLeavesTheArrayAsItWas)
{
    CArray<Scarce, const Scarce&> array;
    array.SetSize(2);
    array[1].value = 42;
    Scarce::left = 3;
    EXPECT_THROW(array.SetSize(1000), std::bad_alloc);
    EXPECT_EQ(Scarce::left, 0);
    EXPECT_EQ(array.GetSize(), 2);
    EXPECT_EQ(array[1].value, 42);
}

}  // namespace
