Lists in braces as objects, and loops over what has a beginning and an end.

//= lists as variables
MAIN {
    std::initializer_list<int> a = {data[3], 5, data[7]};
    initializer_list<float> b{0.5f, 1, float(data[2])};
    metal::initializer_list<int> none = {};
    initializer_list<int> fresh;
    CHECK(a.size() == 3 && a.begin()[0] == 3 && *(a.begin() + 1) == 5 && *(a.end() - 1) == 7);
    CHECK(b.size() == 3 && b.begin()[1] == 1 && b.end() - b.begin() == 3);
    CHECK(none.size() == 0 && none.begin() == none.end());
    int sum = 0;
    for (int x : a) sum = sum * 10 + x;
    CHECK(sum == 357);
    for (auto x : none) sum += x + 1000;
    for (const auto& x : initializer_list<int>{1, data[1], 1}) sum -= x;
    CHECK(sum == 354);
    initializer_list<int> copy = a;
    a = {1, 2};
    CHECK(copy.size() == 3 && a.size() == 2 && a.begin()[1] == 2 && copy.begin()[2] == 7);
    const bool isInt = is_same_v<typename initializer_list<int>::value_type, int>;
    CHECK(isInt);
}

//= lists as parameters
float sum(initializer_list<float> list) {
    float total = 0;
    for (float x : list) total += x;
    return total;
}
int count(initializer_list<float2> list, int more = 1) { return int(list.size()) + more; }
int count(float) { return -1; }
template <typename T> T greatest(initializer_list<T> list) {
    T most = *list.begin();
    for (auto x = list.begin() + 1; x != list.end(); ++x) most = max(most, *x);
    return most;
}
template <typename T> int size(const initializer_list<T> list) { return int(list.size()); }
struct Pair { int a; float b; };
int pairs(initializer_list<Pair> list) {
    int total = 0;
    for (const Pair& one : list) { if (one.a == 0) continue; if (one.a > 100) break; total += one.a + int(one.b); }
    return total;
}
MAIN {
    const float x = float(data[4]);
    CHECK(sum({1, x, 2.5f}) == 7.5 && sum({}) == 0 && sum({x}) == 4);
    CHECK(count({float2(1), {2, 3}}) == 3 && count({float2(x)}, 5) == 6 && count(x) == -1);
    CHECK(greatest({data[3], data[9], data[1]}) == 9 && greatest({x, -x}) == 4 && greatest({1.5bf, 0.5bf}) == 1.5bf);
    CHECK(size({1u, 2u}) == 2 && size<float>({1, 2, 3, 4}) == 4);
    CHECK(pairs({{1, 2}, {0, 50}, {data[5], 3.5f}, {101, 0}, {1, 1}}) == 11);
    float total = 0;
    for (int i = 0; i < data[3]; i++) total += sum({float(i), x}) * (i == 1 ? sum({2, float(i)}) : 1);
    CHECK(total == 4 + 15 + 6);
}

//= classes made of lists
struct Samples {
    float values[8];
    int count = 0;
    Samples(initializer_list<float> list) { for (float x : list) values[count++] = x; }
    Samples(int n, float value) : count(n) { for (int i = 0; i < n; i++) values[i] = value; }
    thread float* begin() { return values; }
    thread float* end() { return values + count; }
    const thread float* begin() const { return values; }
    const thread float* end() const { return values + count; }
};
template <typename T> struct Vector {
    T values[4];
    Vector(initializer_list<T> list) { uint i = 0; for (const T& x : list) values[i++ & 3] = x; }
};
float total(Samples samples) { float all = 0; for (float x : samples) all += x; return all; }
MAIN {
    Samples many{1, 2, float(data[3]), 4};
    Samples two = {float(data[7]), 0.5f};
    Samples same(3, 2.0f);
    CHECK(many.count == 4 && many.values[2] == 3 && two.count == 2 && two.values[0] == 7 && same.count == 3);
    CHECK(total(many) == 10 && total({1, 1, 1}) == 3 && total(same) == 6);
    for (thread float& x : many) x *= 2;
    for (auto& x : two) { if (x > 1) continue; x = 8; }
    CHECK(total(many) == 20 && two.values[1] == 8 && two.values[0] == 7);
    Vector<int> v{data[1], 20, 30};
    CHECK(v.values[0] == 1 && v.values[2] == 30);
}

//= loops over objects of classes
struct Numbers { // iterators that are no pointers
    int first, last;
    struct Iterator {
        int at;
        int operator*() const { return at * at; }
        thread Iterator& operator++() { at += 1; return *this; }
        bool operator!=(Iterator other) const { return at != other.at; }
    };
    Iterator begin() const { return {first}; }
    Iterator end() const { return {last}; }
};
struct View { device int* from; int count; };
device int* begin(View v) { return v.from; }
device int* end(View v) { return v.from + v.count; }
namespace other {
    struct Odd { int most; };
    Numbers::Iterator begin(thread const Odd&) { return {1}; }
    Numbers::Iterator end(thread const Odd& o) { return {o.most}; }
}
template <typename R> int sum(R range) { int all = 0; for (auto x : range) { if (x == 9) continue; all += x; } return all; }
MAIN {
    CHECK(sum(Numbers{0, data[5]}) == 0 + 1 + 4 + 16);
    CHECK(sum(View{data, 6}) == 15);
    for (device int& x : View{data, 4}) x += 100;
    CHECK(data[0] == 100 && data[3] == 103 && data[4] == 4);
    int all = 0;
    for (const int x : other::Odd{data[5]}) all += x;
    CHECK(all == 1 + 4 + 9 + 16);
    all = 0;
    for (int a : Numbers{1, 3})
        for (int b : Numbers{0, a + 1}) { if (b == 4) break; all += 10 * a + b; }
    CHECK(all == 10 + 11 + 40 + 41);
}

//= loops over lists in braces
MAIN {
    int all = 0;
    for (int x : {data[1], 2, 3}) all = all * 10 + x;
    for (auto v : {float2(1, 2), float2(float(data[3]))}) all += int(v.x + v.y);
    CHECK(all == 123 + 9);
    for (auto row : {int4(1), int4(2)}) for (int c : {0, 3}) all -= row[c];
    CHECK(all == 126);
}
