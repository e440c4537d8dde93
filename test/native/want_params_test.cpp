// The WantParams map: copies, key order, equality and text form.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "want_params.h"

namespace {

using OHOS::AAFwk::WantParams;
using OHOS::AAFwk::WantValue;

std::vector<std::string> KeysOf(const WantParams& params)
{
    std::vector<std::string> keys;
    for (const auto& entry : params.GetEntries()) {
        keys.push_back(entry.first);
    }
    return keys;
}

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
    const WantParams expected = MakeNested();

    EXPECT_NE(&original->GetParam("inner")->GetParams(), &copy.GetParam("inner")->GetParams());
    EXPECT_NE(&original->GetParam("array")->GetArray().front().GetParams(),
        &copy.GetParam("array")->GetArray().front().GetParams());

    // Nothing the copy holds may point into the original.
    original.reset();
    EXPECT_EQ(copy, expected);
    EXPECT_EQ(copy.GetParam("inner")->GetParams().GetParam("leaf")->GetString(), "inner text");
}

TEST(WantParamsCopyTest, ChangingACopyLeavesTheOriginal)
{
    WantParams original = MakeNested();
    WantParams copy = original;
    WantParams changedInner = copy.GetParam("inner")->GetParams();
    changedInner.SetParam("leaf", WantValue::Int(5));
    copy.SetParam("inner", WantValue::Params(changedInner));

    EXPECT_EQ(original, MakeNested());
    EXPECT_NE(copy, original);
}

TEST(WantParamsCopyTest, ValueAssignmentReplacesEveryPart)
{
    WantValue value = WantValue::Params(MakeNested());
    const WantValue text = WantValue::String("plain");
    value = text;
    EXPECT_EQ(value.GetType(), WantValue::Type::STRING);
    EXPECT_EQ(value, text);
    EXPECT_TRUE(value.GetParams().IsEmpty());

    WantValue nested = WantValue::Params(MakeNested());
    const WantValue& alias = nested;
    nested = alias;
    EXPECT_EQ(nested.GetParams(), MakeNested());
}

TEST(WantParamsOrderTest, SetParamReplacesInPlaceAndAppendsNewKeys)
{
    WantParams params;
    params.SetParam("a", WantValue::Int(1));
    params.SetParam("b", WantValue::Int(2));
    params.SetParam("c", WantValue::Int(3));
    params.SetParam("b", WantValue::String("two"));
    params.AppendParam("d", WantValue::Bool(false));

    EXPECT_EQ(KeysOf(params), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(params.Size(), 4u);
    EXPECT_EQ(*params.GetParam("b"), WantValue::String("two"));

    params.Remove("a");
    params.SetParam("a", WantValue::Int(1));
    EXPECT_EQ(KeysOf(params), (std::vector<std::string>{"b", "c", "d", "a"}));
}

TEST(WantParamsEqualityTest, KeyOrderDoesNotMatter)
{
    WantParams first;
    first.SetParam("x", WantValue::Int(1));
    first.SetParam("y", WantValue::Params(MakeNested()));
    WantParams second;
    second.SetParam("y", WantValue::Params(MakeNested()));
    second.SetParam("x", WantValue::Int(1));
    EXPECT_EQ(first, second);
}

TEST(WantParamsEqualityTest, TypesValuesKeysAndArrayOrderMatter)
{
    WantParams base;
    base.SetParam("n", WantValue::Int(1));

    WantParams asLong;
    asLong.SetParam("n", WantValue::Long(1));
    EXPECT_NE(base, asLong);

    WantParams asDouble;
    asDouble.SetParam("n", WantValue::Double(1.0));
    EXPECT_NE(base, asDouble);

    WantParams otherKey;
    otherKey.SetParam("m", WantValue::Int(1));
    EXPECT_NE(base, otherKey);

    WantParams extra = base;
    extra.SetParam("more", WantValue::Bool(false));
    EXPECT_NE(base, extra);
    EXPECT_NE(extra, base);

    EXPECT_NE(WantValue::Array({WantValue::Int(1), WantValue::Int(2)}),
        WantValue::Array({WantValue::Int(2), WantValue::Int(1)}));
    EXPECT_NE(WantValue::Array({WantValue::Int(1)}), WantValue::Array({WantValue::Int(1), WantValue::Int(1)}));
}

TEST(WantParamsEqualityTest, NaNEqualsNaN)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(WantValue::Double(nan), WantValue::Double(nan));
    EXPECT_EQ(WantValue::Double(nan), WantValue::Double(-nan));
    EXPECT_NE(WantValue::Double(nan), WantValue::Double(0.0));
    EXPECT_NE(WantValue::Double(0.0), WantValue::Double(nan));

    WantParams first;
    first.SetParam("v", WantValue::Array({WantValue::Double(nan)}));
    WantParams second;
    second.SetParam("v", WantValue::Array({WantValue::Double(nan)}));
    EXPECT_EQ(first, second);
}

TEST(WantParamsTextTest, NumberTypesAreTellable)
{
    WantParams params;
    params.SetParam("i", WantValue::Int(1));
    params.SetParam("l", WantValue::Long(1));
    params.SetParam("d", WantValue::Double(1));
    params.SetParam("f", WantValue::Double(1.5));
    params.SetParam("z", WantValue::Double(-0.0));
    params.SetParam("e", WantValue::Double(1e300));
    params.SetParam("big", WantValue::Long(std::numeric_limits<int64_t>::min()));
    EXPECT_EQ(params.ToString(),
        R"({"i":1,"l":1L,"d":1.0,"f":1.5,"z":-0.0,"e":1.0000000000000001e+300,"big":-9223372036854775808L})");
}

TEST(WantParamsTextTest, NestingAndEscapes)
{
    WantParams inner;
    inner.SetParam("b", WantValue::Array({WantValue::Bool(true), WantValue::String("x"), WantValue::Array({})}));
    WantParams params;
    params.SetParam("a", WantValue::Params(inner));
    params.SetParam("e", WantValue::Params(WantParams()));
    params.SetParam(std::string("q\"\\\n\0", 5), WantValue::String(std::string("\x01\0", 2)));
    EXPECT_EQ(params.ToString(), R"({"a":{"b":[true,"x",[]]},"e":{},"q\"\\\u000a\u0000":"\u0001\u0000"})");
    EXPECT_EQ(WantParams().ToString(), "{}");
}

} // namespace
