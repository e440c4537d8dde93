// The WantParams map: copies, key order, equality and text form.
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "want_params.h"

namespace {

using OHOS::AAFwk::WantParams;
using OHOS::AAFwk::WantValue;

WantParams MakeNested()
{
    WantParams inner;
    inner.SetParam("leaf", WantValue::String("inner text"));
    inner.SetParam("list", WantValue::Array({WantValue::Int(1), WantValue::Params(WantParams())}));
    WantParams outer;
    outer.SetParam("inner", WantValue::Params(inner));
    outer.SetParam("array", WantValue::Array({WantValue::Params(inner), WantValue::Bool(true)}));
    return outer;
}

TEST(WantParamsCopyTest, CopyOwnsItsNestedMapsAndArrays)
{
    auto original = std::make_unique<WantParams>(MakeNested());
    WantParams copy(*original);
    EXPECT_NE(&original->GetParam("inner")->GetParams(), &copy.GetParam("inner")->GetParams());
    EXPECT_NE(&original->GetParam("array")->GetArray().front().GetParams(),
        &copy.GetParam("array")->GetArray().front().GetParams());

    // Nothing the copy holds may point into the original.
    original.reset();
    EXPECT_EQ(copy, MakeNested());

    WantValue value = WantValue::Params(copy);
    value = WantValue::String("plain");
    EXPECT_TRUE(value.GetParams().IsEmpty());
    EXPECT_EQ(copy, MakeNested());
}

TEST(WantParamsOrderTest, SetParamReplacesInPlaceAndAppendsNewKeys)
{
    WantParams params;
    for (const char* key : {"a", "b", "c"}) {
        params.SetParam(key, WantValue::Int(1));
    }
    params.SetParam("b", WantValue::String("two"));
    params.AppendParam("d", WantValue::Bool(false));
    params.Remove("a");
    params.SetParam("a", WantValue::Int(1));

    std::vector<std::string> keys;
    for (const auto& entry : params.GetEntries()) {
        keys.push_back(entry.first);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"b", "c", "d", "a"}));
    EXPECT_EQ(*params.GetParam("b"), WantValue::String("two"));
}

TEST(WantParamsEqualityTest, KeyOrderDoesNotMatterButTypesAndArrayOrderDoAndNaNEqualsNaN)
{
    WantParams first;
    first.SetParam("x", WantValue::Int(1));
    first.SetParam("y", WantValue::Params(MakeNested()));
    WantParams second;
    second.SetParam("y", WantValue::Params(MakeNested()));
    second.SetParam("x", WantValue::Int(1));
    EXPECT_EQ(first, second);

    second.SetParam("x", WantValue::Long(1));
    EXPECT_NE(first, second);
    second.SetParam("x", WantValue::Double(1.0));
    EXPECT_NE(first, second);
    second.SetParam("x", WantValue::Int(1));
    second.SetParam("z", WantValue::Bool(false));
    EXPECT_NE(first, second);
    EXPECT_NE(second, first);

    EXPECT_NE(WantValue::Array({WantValue::Int(1), WantValue::Int(2)}),
        WantValue::Array({WantValue::Int(2), WantValue::Int(1)}));
    EXPECT_NE(WantValue::Array({WantValue::Int(1)}), WantValue::Array({WantValue::Int(1), WantValue::Int(1)}));

    const double nan = std::numeric_limits<double>::quiet_NaN(); // equal to itself here
    EXPECT_EQ(WantValue::Array({WantValue::Double(nan)}), WantValue::Array({WantValue::Double(-nan)}));
    EXPECT_NE(WantValue::Double(nan), WantValue::Double(0.0));
    EXPECT_NE(WantValue::Double(0.0), WantValue::Double(nan));
}

TEST(WantParamsTextTest, NumberTypesNestingAndEscapes)
{
    WantParams params;
    params.SetParam("i", WantValue::Int(1));
    params.SetParam("l", WantValue::Long(std::numeric_limits<int64_t>::min()));
    params.SetParam("d", WantValue::Double(1));
    params.SetParam("z", WantValue::Double(-0.0));
    params.SetParam("e", WantValue::Double(1e300));
    WantParams inner;
    inner.SetParam("b", WantValue::Array({WantValue::Bool(true), WantValue::String("x"), WantValue::Array({})}));
    params.SetParam("a", WantValue::Params(inner));
    params.SetParam(std::string("q\"\\\n\0", 5), WantValue::String(std::string("\x01\0", 2)));
    EXPECT_EQ(params.ToString(),
        R"({"i":1,"l":-9223372036854775808L,"d":1.0,"z":-0.0,"e":1.0000000000000001e+300,)"
        R"("a":{"b":[true,"x",[]]},"q\"\\\u000a\u0000":"\u0001\u0000"})");
    EXPECT_EQ(WantParams().ToString(), "{}");
}

} // namespace
