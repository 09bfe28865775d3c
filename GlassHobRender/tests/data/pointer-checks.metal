// Programs about pointers and references; see class-checks.metal for how a section checks itself.

//= references
float& ignoredDecl(thread float& x);
thread float& idRef(thread float& x) { return x; }
thread float& at(thread float (&a)[4], int i) { return a[i]; }
void both(thread float& a, thread float2& b) { a += 1; b *= a; }
void three(thread float3& v) { v.x = 1; v.yz = float2(2, 3); }
float readc(const thread float& x) { return x; }
float readDevice(device const int& x) { return float(x); }
template <typename T> void swapThem(thread T& a, thread T& b) { T t = a; a = b; b = t; }
MAIN {
    float x = 1 + data[0];
    thread float& r = x;
    r = 5;
    idRef(x) += 2;
    CHECK(x == 7);
    float a[4] = {1, 2, 3, 4};
    at(a, data[2]) = 30;
    CHECK(a[2] == 30);
    float2 v = float2(1, 2);
    both(a[data[1]], v);
    CHECK(a[1] == 3 && v.y == 6);
    float3 m[2];
    three(m[data[1]]);
    CHECK(m[1].z == 3);
    CHECK(readc(x + 1) == 8 && readc(3) == 3 && readDevice(data[4]) == 4);
    swapThem(a[0], a[3]);
    CHECK(a[0] == 4 && a[3] == 1);
    swapThem(v, v);
    thread auto& ar = a[data[3]];
    ar = 11;
    CHECK(a[3] == 11);
    const thread float& cr = a[3];
    a[3] = 12;
    CHECK(cr == 12);
    device int& d = data[7];
    d = 70;
    CHECK(data[7] == 70);
    d = 7;
    for (thread float& e : a) e *= 2;
    CHECK(a[0] == 8 && a[3] == 24);
    float s = 0;
    for (float e : a) s += e;
    for (auto e : a) s += e;
    for (const thread auto& e : a) s -= e;
    CHECK(s == 8 + 6 + 60 + 24);
}
