// What sample.exe and sample.pdb are made of: make-sample, beside this, says how.
namespace Outer
{
int sCounter;

__attribute__((noinline)) int Work(int value)
{
    sCounter += value;
    return value * 2;
}

struct Box
{
    int mValue;

    __attribute__((noinline)) int Open() const { return Work(mValue); }
};

template <class T>
__attribute__((noinline)) T Twice(T value)
{
    return value + value;
}
}

static __attribute__((noinline)) int Help(int value)
{
    return Outer::Work(value) + 1;
}

extern "C" int start()
{
    int sum = Outer::Box{3}.Open() + Outer::Twice(2);
    for (int i = 0; i < 10; ++i)
        sum += Help(i);
    return sum;
}
