// Programs about pointers that may stand for one of several variables; see class-checks.metal.

//= pointers to one of several variables
struct S { int v[4]; int k; };
int total(thread const int* p, int n) { int s = 0; for (int i = 0; i < n; i++) s += p[i]; return s; }
void put(thread int* p, int x) { *p = x; }
int readBoth(device const int* a, device const int* b, bool first) { device const int* p = first ? a : b; return p[1]; }
MAIN {
    int a[4] = {1, 2, 3, 4};
    int b[3] = {10, 20, 30};
    int x = 5;
    bool yes = data[1] == 1;
    thread int* p = yes ? a : b;
    CHECK(p[1] == 2 && total(p, 3) == 6);
    p = yes ? b : a;
    CHECK(*p == 10 && p[data[2]] == 30);
    p[1] = 21;
    CHECK(b[1] == 21 && a[1] == 2);
    if (yes) p = &x; else p = a;
    put(p, 6);
    CHECK(x == 6 && a[0] == 1);
    (yes ? x : a[2]) = 7;
    CHECK(x == 7);
    thread int& r = data[0] == 1 ? x : b[2];
    r += 1;
    CHECK(b[2] == 31 && x == 7);
    // set in a loop, read in the next round
    thread int* q = a;
    int s = 0;
    for (int i = 0; i < 4; i++) {
        s += *q;
        if (i == 0) q = &b[1];
        else if (i == 1) q = &x;
        else q = a + 3;
    }
    CHECK(s == 1 + 21 + 7 + 4);
    // two that change places
    thread int* from = a;
    thread int* to = b;
    for (int i = 0; i < 3; i++) {
        to[0] = from[0] + 1;
        thread int* t = from;
        from = to;
        to = t;
    }
    CHECK(b[0] == 4 && a[0] == 3);
    // none at first
    thread int* found = nullptr;
    for (int i = 0; i < 4; i++)
        if (a[i] == data[4]) found = &a[i];
    CHECK(found != nullptr && *found == 4 && found == a + 3);
    found = nullptr;
    for (int i = 0; i < 4; i++)
        if (a[i] == 1000) found = &a[i];
    CHECK(found == nullptr && !found);
    CHECK(readBoth(data, data + 4, yes) == 1 && readBoth(data, data + 4, !yes) == 5);
    S one = {{1, 2, 3, 4}, 5}, two = {{6, 7, 8, 9}, 10};
    thread S* ps = yes ? &two : &one;
    CHECK(ps->k == 10 && ps->v[data[1]] == 7);
    ps->v[2] = 80;
    thread int* inner = ps->v;
    inner[3] = 90;
    CHECK(two.v[2] == 80 && two.v[3] == 90 && one.v[3] == 4);
    S copy = *ps;
    CHECK(copy.v[2] == 80);
    thread int* k = yes ? &one.k : &two.v[1];
    *k += 100;
    CHECK(one.k == 105);
}

//= arrays of pointers
MAIN {
    int a[2] = {1, 2}, b[2] = {3, 4}, c[2] = {5, 6};
    thread int* all[3] = {a, b, c};
    int s = 0;
    for (int i = 0; i < 3; i++) s += all[i][data[1]];
    CHECK(s == 12 && all[2][0] == 5 && all[data[1]][0] == 3);
    for (int i = 0; i < 3; i++) *all[i] = 10 + i;
    CHECK(a[0] == 10 && b[0] == 11 && c[0] == 12);
    all[data[0]] = c;
    CHECK(all[0][1] == 6 && all[1][1] == 4);
    all[data[2]]++;
    CHECK(*all[2] == 6 && *all[0] == 12);
    device const int* parts[4] = {data, data + 4, data + 8, data + 12};
    s = 0;
    for (int i = 0; i < 4; i++) s += parts[i][i];
    CHECK(s == 0 + 5 + 10 + 15);
    for (device const int* part : parts) s += *part;
    CHECK(s == 30 + 24);
    array<thread int*, 2> two = {a, b};
    CHECK(two[data[1]][0] == 11);
    thread int* thread* pp = all;
    CHECK(pp[1][1] == 4);
    pp++;
    CHECK((*pp)[1] == 4 && **pp == 11);
}

//= comparisons
struct P { int a, b; };
MAIN {
    int a[4] = {1, 2, 3, 4};
    int b[4] = {5, 6, 7, 8};
    P s[2] = {};
    thread int* p = data[1] == 1 ? a : b;
    thread int* q = data[1] == 1 ? a + 2 : b + 1;
    CHECK(p != q && !(p == q) && p < q && q > p && q - p == 2 && p == a && p != b);
    q -= 2;
    CHECK(p == q && p <= q && p >= q && q - p == 0);
    CHECK(&s[0].a != &s[0].b && &s[0].b < &s[1].a && &s[1].b - &s[0].b == 2);
    CHECK(&s[data[1]].a - &s[0].b == 1);
    thread int* none = nullptr;
    if (data[1] == 0) none = a;
    CHECK(none == nullptr && none != p && !(none == p) && !none);
    if (data[1] == 1) none = b;
    CHECK(none != nullptr && none == b && none && *none == 5);
    device int* d = data[2] == 2 ? data + 3 : nullptr;
    CHECK(d && *d == 3);
    d = data[2] == 1 ? data + 3 : nullptr;
    CHECK(!d && d == nullptr);
}

//= pointers that functions set
struct It { device const int* p; int n; void go(device const int* q, int count) { p = q; n = count; } int next() { return *p++; } bool done() const { return n == 0; } };
void turn(device const int* thread& a, device const int* thread& b) { device const int* t = a; a = b; b = t; }
device const int* pick(device const int* a, device const int* b, int i) { if (i == 0) return a; if (i == 1) return b; return nullptr; }
thread int* larger(thread int& a, thread int& b) { return a > b ? &a : &b; }
thread int& smaller(thread int& a, thread int& b) { if (a < b) return a; return b; }
int orNone(device const int* p = nullptr) { return p ? *p : -1; }
void grow(thread int* thread* p, thread int* to) { *p = to; }
MAIN {
    It it;
    it.go(data + 2, 3);
    CHECK(it.next() == 2 && it.next() == 3 && it.n == 3);
    it.go(data, 1);
    CHECK(it.next() == 0);
    int local[2] = {40, 50};
    device const int* a = data + 1;
    device const int* b = data + 9;
    turn(a, b);
    CHECK(*a == 9 && *b == 1);
    CHECK(*pick(a, b, data[0]) == 9 && *pick(a, b, data[1]) == 1 && pick(a, b, data[2]) == nullptr);
    int x = 3, y = 4;
    *larger(x, y) = 1;
    CHECK(y == 1 && x == 3);
    smaller(x, y) = 30;
    CHECK(y == 30);
    CHECK(orNone() == -1 && orNone(data + 5) == 5);
    thread int* p = local;
    grow(&p, local + 1);
    CHECK(*p == 50);
    grow(&p, &x);
    CHECK(*p == 3);
    auto set = [&](thread int* to) { p = to; };
    set(&y);
    CHECK(*p == 30);
}

//= buffers and threadgroup memory chosen at run time
int at(device const int* p, int i) { return p[i]; }
kernel void check(device uint* failed [[buffer(0)]], device int* data [[buffer(1)]], device int* more [[buffer(2)]],
                  constant float4* c [[buffer(3)]], uint thread_number [[thread_position_in_grid]]) {
    threadgroup int shared[8];
    if (thread_number != 0) return;
    for (int i = 0; i < 8; i++) shared[i] = i * 10;
    device int* p = data[1] == 1 ? more : data;
    for (int i = 0; i < 4; i++) p[i] = 100 + i;
    CHECK(more[3] == 103 && data[3] == 3 && at(p, 2) == 102);
    device int* both[2] = {data, more};
    for (int i = 0; i < 2; i++) atomic_fetch_add_explicit((device atomic_int*)both[i] + 5, 7, memory_order_relaxed);
    CHECK(data[5] == 12);
    data[5] = 5;
    threadgroup int* t = data[2] == 2 ? shared + 4 : shared;
    CHECK(t[1] == 50);
    device int* q = data;
    for (int i = 0; i < 6; i++) { q[8] = i; q = (i & 1) ? data : more; }
    CHECK(more[8] == 5 && data[8] == 4);
    data[8] = 8;
}
