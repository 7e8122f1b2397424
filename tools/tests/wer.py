"""Word error rate with the app's own normalisation: lower case, every character that is not a
letter or digit splits words, and a pair scores at most 1."""


def normalize(text: str) -> list[str]:
    return "".join(c if c.isalnum() else " " for c in text.lower()).split()


def word_errors(reference: list[str], hypothesis: list[str]) -> int:
    row = list(range(len(hypothesis) + 1))
    for i, word in enumerate(reference, start=1):
        diagonal, row[0] = row[0], i
        for j, heard in enumerate(hypothesis, start=1):
            diagonal, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1,
                                           diagonal + (word != heard))
    return row[-1]


def score(reference: str, hypothesis: str) -> float | None:
    words = normalize(reference)
    if not words:
        return None
    return min(word_errors(words, normalize(hypothesis)) / len(words), 1.0)
